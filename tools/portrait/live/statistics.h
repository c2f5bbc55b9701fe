// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_STATISTICS_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_STATISTICS_H_

#include <cstdint>
#include <string>

#include "live/renderer.h"
#include "stage_times.h"

namespace pexo::live {

// Per-viewing statistics.
struct Statistics {
  Time start{};                                   // of the viewing
  double processor_before = 0;                    // seconds of the whole program's threads, at the start
  int64_t frames_before = 0, dropped_before = 0;  // of the camera's counters, at the start

  double first_seconds = 0;  // from the start to the first picture
  int64_t shown = 0;
  int64_t failed = 0;
  portrait::StageTimes delay{};  // from the camera to the output
  portrait::StageTimes convert{}, segment{}, compose{};

  void Add(const Finished& finished, Time now);
  // A few lines. `opened`: when the camera was opened, which may be before the start.
  std::string Text(Time now, Time opened, int64_t frames, int64_t dropped) const;
};

// Seconds that all threads of this program have worked.
double ProcessorSeconds();

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_STATISTICS_H_
