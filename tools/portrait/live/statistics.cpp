// SPDX-License-Identifier: Apache-2.0
#include "live/statistics.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <ctime>

namespace pexo::live {

double ProcessorSeconds() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

void Statistics::Add(const Finished& finished, Time now) {
  if (shown++ == 0) first_seconds = std::chrono::duration<double>(now - start).count();
  delay.Add(std::chrono::duration<double>(now - finished.picture.captured()).count());
  convert.Add(finished.convert_seconds);
  segment.Add(finished.segment_seconds);
  compose.Add(finished.compose_seconds);
}

std::string Statistics::Text(Time now, Time opened, int64_t frames, int64_t dropped) const {
  char text[512];
  const auto median = [](const portrait::StageTimes& times) { return 1e3 * times.Quantile(0.5); };
  const double seconds = std::chrono::duration<double>(now - start).count();
  const double open_seconds = std::max(std::chrono::duration<double>(opened - start).count(), 0.0);
  std::snprintf(text, sizeof text,
                "camera: open after %.1f ms, first picture after %.1f ms\n"
                "frames: %" PRId64 " in, %" PRId64 " out, %" PRId64 " dropped, %" PRId64
                " failed\n"
                "delay from the camera: median %.1f ms, 99%% within %.1f ms\n"
                "stages, medians: convert %.1f ms, segment %.1f ms, compose %.1f ms\n"
                "processor: %.0f%% of one core over %.1f s\n",
                1e3 * open_seconds, 1e3 * first_seconds, frames - frames_before, shown, dropped - dropped_before,
                failed, median(delay), 1e3 * delay.Quantile(0.99), median(convert), median(segment), median(compose),
                seconds > 0 ? 100 * (ProcessorSeconds() - processor_before) / seconds : 0, seconds);
  return text;
}

}  // namespace pexo::live
