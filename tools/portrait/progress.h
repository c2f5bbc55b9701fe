// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_PROGRESS_H_
#define PEXO_TOOLS_PORTRAIT_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace pexo::portrait {

// Tells on standard error how far a film is: on a terminal in one line that changes, elsewhere in a line every few
// seconds.
class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  // `expected`: the number of frames there will be, about; 0 if nothing tells.
  Progress(bool is_shown, int64_t expected);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void CountFrame(Clock::time_point now = Clock::now());
  int64_t frames() const { return frames_; }
  // Since the first frame: what comes before it is no matter of speed.
  double FramesPerSecond(Clock::time_point now = Clock::now()) const;

  // These two whether progress is shown or not.
  void Print(const std::string& text);
  void Tell(const std::string& line);  // as a line of its own; from any thread

 private:
  std::string Line(Clock::time_point now) const;
  void Clear();

  std::mutex mutex_;  // of standard error and has_line_
  bool is_shown_;
  bool is_terminal_;
  bool has_line_ = false;
  int64_t expected_;
  int64_t frames_ = 0;
  Clock::time_point first_frame_{};
  Clock::time_point last_shown_{};
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_PROGRESS_H_
