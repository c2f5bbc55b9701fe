// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_FILM_STATISTICS_H_
#define PEXO_TOOLS_PORTRAIT_FILM_STATISTICS_H_

#include <cstdint>
#include <string>

#include "stage_times.h"

namespace pexo::portrait {

// Per-film statistics. Each part belongs to the thread that does the work, until all are done.
struct FilmStatistics {
  StageTimes read;     // decoding a frame, and making it 8-bit 4:2:0
  StageTimes effect;   // a call of the library
  StageTimes segment;  // the mask of a small copy
  StageTimes compose;  // the finished frame from it
  StageTimes write;    // encoding a frame and writing it
  int64_t frames_judged = 0;
  int64_t frames_with_person = 0;

  // A line for each stage that took place.
  std::string Text(int64_t frames, double frames_per_second) const;
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_FILM_STATISTICS_H_
