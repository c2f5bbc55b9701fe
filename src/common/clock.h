// SPDX-License-Identifier: Apache-2.0
// Wall-clock milliseconds, in the single precision that the library reports.
#ifndef PEXO_COMMON_CLOCK_H_
#define PEXO_COMMON_CLOCK_H_

#include <sys/time.h>

namespace pexo {

inline timeval WallClock() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return now;
}

// Both differences become float before they are combined.
inline float ElapsedMilliseconds(const timeval& start, const timeval& end) {
  return (static_cast<float>(end.tv_usec - start.tv_usec) / 1e6f + static_cast<float>(end.tv_sec - start.tv_sec)) *
         1000.0f;
}

}  // namespace pexo

#endif  // PEXO_COMMON_CLOCK_H_
