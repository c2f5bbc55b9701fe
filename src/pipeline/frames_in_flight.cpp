#include "pipeline/frames_in_flight.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace pexo {
namespace {

constexpr std::chrono::microseconds kLongestWait{1000};
constexpr std::chrono::microseconds kLongestIdleWait{50'000};

}  // namespace

FramesInFlight::Turn FramesInFlight::WaitForTurn(size_t limit) {
  std::unique_lock lock(frame_mutex_);
  for (;;) {
    if (stop_requested_) return {.stopped = true, .result = nullptr};
    if (frames_.size() < limit) return {};
    for (const Entry& entry : frames_) {
      if (entry->frame_id == expected_frame_id_ && entry->state == final_state_) return {false, entry};
    }
    result_.wait_for(lock, kLongestWait);
  }
}

void FramesInFlight::Exchange(const Entry& result, Entry next) {
  {
    const std::lock_guard lock(frame_mutex_);
    frames_.reserve(frames_.size() + 1);
    if (result != nullptr) {
      frames_.erase(std::find(frames_.begin(), frames_.end(), result));
      ++expected_frame_id_;
    }
    next->frame_id = next_frame_id_++;
    next->state = kSubmitted;
    frames_.push_back(std::move(next));
  }
  work_.notify_all();
}

FramesInFlight::Entry FramesInFlight::WaitForState(uint32_t state) {
  std::unique_lock lock(frame_mutex_);
  for (;;) {
    if (stop_requested_) return nullptr;
    for (const Entry& entry : frames_) {
      if (entry->state == state && !entry->claimed) {
        entry->claimed = true;
        return entry;
      }
    }
    work_.wait_for(lock, AnyUnfinished() ? kLongestWait : kLongestIdleWait);
  }
}

void FramesInFlight::SetState(ThreadData& entry, uint32_t state) {
  {
    const std::lock_guard lock(frame_mutex_);
    entry.state = state;
    entry.claimed = false;
  }
  work_.notify_all();
  result_.notify_all();
}

bool FramesInFlight::AnyUnfinished() const {
  return std::any_of(frames_.begin(), frames_.end(),
                     [this](const Entry& entry) { return entry->state != final_state_; });
}

void FramesInFlight::Stop() {
  {
    const std::lock_guard lock(frame_mutex_);
    stop_requested_ = true;
  }
  work_.notify_all();
  result_.notify_all();
}

void FramesInFlight::Restart() {
  const std::lock_guard lock(frame_mutex_);
  stop_requested_ = false;
}

int32_t FramesInFlight::Clear() {
  std::vector<Entry> dropped;
  {
    const std::lock_guard lock(frame_mutex_);
    dropped.swap(frames_);
    expected_frame_id_ = next_frame_id_;
  }
  for (const Entry& entry : dropped) {
    const int32_t status = entry->FreeImages();
    if (status != 0) return status;  // the records still free what is left
  }
  return 0;
}

}  // namespace pexo
