// SPDX-License-Identifier: Apache-2.0
#include "progress.h"

#include <cinttypes>
#include <cstdio>

#include <unistd.h>

namespace pexo::portrait {
namespace {

constexpr std::chrono::milliseconds kTerminalInterval(200);
constexpr std::chrono::milliseconds kLineInterval(5000);

}  // namespace

Progress::Progress(bool is_shown, int64_t expected)
    : is_shown_(is_shown), is_terminal_(::isatty(STDERR_FILENO) == 1), expected_(expected) {}

Progress::~Progress() {
  Clear();
}

void Progress::CountFrame(Clock::time_point now) {
  if (++frames_ == 1) first_frame_ = last_shown_ = now;
  if (!is_shown_) return;
  if (now - last_shown_ < (is_terminal_ ? kTerminalInterval : kLineInterval)) return;
  last_shown_ = now;
  const std::lock_guard lock(mutex_);
  Clear();
  std::fprintf(stderr, is_terminal_ ? "%s" : "%s\n", Line(now).c_str());
  has_line_ = is_terminal_;
}

double Progress::FramesPerSecond(Clock::time_point now) const {
  if (frames_ < 2) return 0;
  return static_cast<double>(frames_ - 1) / std::chrono::duration<double>(now - first_frame_).count();
}

std::string Progress::Line(Clock::time_point now) const {
  const double rate = FramesPerSecond(now);
  char text[160];
  if (expected_ < frames_) {
    std::snprintf(text, sizeof text, "frame %" PRId64 ", %.1f a second", frames_, rate);
  } else {
    const auto left = static_cast<int64_t>(static_cast<double>(expected_ - frames_) / rate + 0.5);
    std::snprintf(text, sizeof text, "frame %" PRId64 " of %" PRId64 ", %.1f a second, %" PRId64 ":%02d left", frames_,
                  expected_, rate, left / 60, static_cast<int>(left % 60));
  }
  return text;
}

void Progress::Tell(const std::string& line) {
  const std::lock_guard lock(mutex_);
  Clear();
  std::fprintf(stderr, "portrait: %s\n", line.c_str());
}

void Progress::Print(const std::string& text) {
  const std::lock_guard lock(mutex_);
  Clear();
  std::fputs(text.c_str(), stderr);
}

void Progress::Clear() {
  if (has_line_) std::fputs("\r\033[K", stderr);
  has_line_ = false;
}

}  // namespace pexo::portrait
