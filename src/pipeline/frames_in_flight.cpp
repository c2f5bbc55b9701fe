// SPDX-License-Identifier: Apache-2.0
#include "pipeline/frames_in_flight.h"

#include <algorithm>
#include <utility>

namespace pexo {

ThreadData* FramesInFlight::WaitForTurn() {
  std::unique_lock lock(frame_mutex_);
  if (frames_.size() < limit_) return nullptr;
  ThreadData& oldest = *frames_.front();
  reached_[final_state_].wait(lock, [&] { return oldest.state == final_state_; });
  return &oldest;
}

FramesInFlight::Entry FramesInFlight::Exchange(Entry next) {
  Entry result;
  {
    const std::lock_guard lock(frame_mutex_);
    if (frames_.size() == limit_) {
      result = std::move(frames_.front());
      frames_.erase(frames_.begin());
    }
    frames_.push_back(std::move(next));
  }
  reached_[kSubmitted].notify_one();
  return result;
}

ThreadData* FramesInFlight::WaitForWork(uint32_t state) {
  std::unique_lock lock(frame_mutex_);
  auto found = frames_.end();
  reached_[state].wait(lock, [&] {
    found = std::find_if(frames_.begin(), frames_.end(), [&](const Entry& entry) { return entry->state == state; });
    return stop_requested_ || found != frames_.end();
  });
  if (stop_requested_) return nullptr;
  (*found)->state = kInWork;
  return found->get();
}

void FramesInFlight::HandOn(ThreadData& entry, uint32_t state) {
  {
    const std::lock_guard lock(frame_mutex_);
    entry.state = state;
  }
  reached_[state].notify_one();  // all that wait for one state are alike
}

void FramesInFlight::Stop() {
  {
    const std::lock_guard lock(frame_mutex_);
    stop_requested_ = true;
  }
  for (std::condition_variable& reached : reached_) reached.notify_all();
}

void FramesInFlight::Restart() {
  const std::lock_guard lock(frame_mutex_);
  stop_requested_ = false;
}

int32_t FramesInFlight::Clear() {
  int32_t status = 0;
  for (const Entry& entry : frames_) {
    if (status == 0) status = entry->frame.Free();
    if (status == 0) status = entry->mask.Free();
  }
  frames_.clear();  // and with it the images that are left
  return status;
}

}  // namespace pexo
