// SPDX-License-Identifier: Apache-2.0
// The camera's own thread.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_CAPTURE_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_CAPTURE_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "live/camera.h"
#include "live/exchange.h"
#include "live/worker.h"

namespace pexo::live {

// Opens the camera while it is wanted and hands over its frames; tries again once a second when it is gone or silent.
class Capture {
 public:
  using Open = std::function<std::unique_ptr<Camera>()>;
  // Called from the thread: why there is no camera, or an empty word once it gives frames again.
  using Tell = std::function<void(const std::string& trouble)>;

  Capture(Open open, Exchange<CameraFrame>& frames, Tell tell);
  ~Capture();

  void SetWanted(bool is_wanted);
  // False if the camera hangs; the program had better end then without this object's destructor.
  bool Stop(std::chrono::milliseconds limit);

  Time opened() const { return Time(Clock::duration(opened_)); }  // last
  int64_t frames() const { return frame_count_; }
  int64_t dropped() const { return dropped_; }

 private:
  void Work();
  void ReadWhileWanted();
  void Report(const char* trouble);
  bool IsWanted();

  const Open open_;
  Exchange<CameraFrame>& frames_;
  const Tell tell_;
  std::atomic<Clock::rep> opened_ = 0;
  std::atomic<int64_t> frame_count_ = 0;
  std::atomic<int64_t> dropped_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_wanted_ = false;
  bool is_stopping_ = false;
  Worker worker_;  // last: it uses all of the above
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_CAPTURE_H_
