// SPDX-License-Identifier: Apache-2.0
#include "live/capture.h"

#include <exception>
#include <new>
#include <utility>

#include "common/failure.h"

namespace pexo::live {
namespace {

constexpr auto kPatience = std::chrono::milliseconds(50);  // how often to check whether the camera is still wanted
constexpr auto kRetry = std::chrono::seconds(1);
// A camera that sends nothing for so long is opened anew.
constexpr auto kSilence = std::chrono::seconds(2), kSilenceAtFirst = std::chrono::seconds(10);

}  // namespace

Capture::Capture(Open open, Exchange<CameraFrame>& frames, Tell tell)
    : open_(std::move(open)), frames_(frames), tell_(std::move(tell)), worker_([this] { Work(); }) {}

Capture::~Capture() {
  Stop(std::chrono::milliseconds(0));
}

void Capture::SetWanted(bool is_wanted) {
  const std::lock_guard lock(mutex_);
  if (std::exchange(is_wanted_, is_wanted) != is_wanted) changed_.notify_all();
}

bool Capture::Stop(std::chrono::milliseconds limit) {
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
    changed_.notify_all();
  }
  return worker_.EndsWithin(limit);
}

bool Capture::IsWanted() {
  const std::lock_guard lock(mutex_);
  return is_wanted_ && !is_stopping_;
}

void Capture::Work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return is_wanted_ || is_stopping_; });
    if (is_stopping_) return;
    lock.unlock();
    bool is_gone = true;
    try {
      ReadWhileWanted();
      is_gone = false;
    } catch (const std::exception& error) {
      Report(error.what());
    }
    frames_.TryTake();
    lock.lock();
    if (is_gone) changed_.wait_for(lock, kRetry, [this] { return is_stopping_; });
  }
}

// Also where there is no memory left for the reason.
void Capture::Report(const char* trouble) {
  try {
    tell_(trouble);
  } catch (const std::bad_alloc&) {
  }
}

void Capture::ReadWhileWanted() {
  const std::unique_ptr<Camera> camera = open_();
  Time last = Clock::now();
  opened_ = last.time_since_epoch().count();
  bool has_frames = false;
  while (IsWanted()) {
    std::optional<CameraFrame> frame = camera->Read(kPatience);
    const Time now = Clock::now();
    if (!frame) {
      if (now - last >= (has_frames ? kSilence : kSilenceAtFirst)) throw tools::Failure("the camera sends no pictures");
      continue;
    }
    last = now;
    if (!std::exchange(has_frames, true)) Report("");
    ++frame_count_;
    if (frames_.Put(*std::move(frame))) ++dropped_;
  }
}

}  // namespace pexo::live
