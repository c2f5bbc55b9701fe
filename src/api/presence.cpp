// SPDX-License-Identifier: Apache-2.0
#include "api/presence.h"

#include <limits>

namespace pexo {
namespace {

constexpr int32_t kFramesToKeep = 5;

// Shares of the frame, compared in double. The gap between the two thresholds of a direction is deliberate.
constexpr double kAbsentBelowFront = 0.12;
constexpr double kAbsentBelowBack = 0.05;
constexpr double kObviousAboveFront = 0.24;
constexpr double kObviousAboveBack = 0.1;

}  // namespace

bool PresenceDebouncer::Update(bool present) {
  const int32_t old_run = presence_run_;
  if (presence_run_ < std::numeric_limits<int32_t>::max()) ++presence_run_;
  if (present == presence_prev_) {
    if (old_run >= kFramesToKeep) presence_stable_ = present;
  } else {
    presence_run_ = 0;
  }
  presence_prev_ = present;
  return presence_stable_;
}

PresenceDebouncer& SharedPresence() {
  static PresenceDebouncer shared;
  return shared;
}

bool IsPersonPresent(int32_t camera_direction, float foreground_fraction) {
  const double fraction = foreground_fraction;
  const bool absent =
      (camera_direction == 0 && fraction < kAbsentBelowFront) || (camera_direction > 0 && fraction < kAbsentBelowBack);
  return !absent;
}

bool IsPersonObvious(int32_t camera_direction, float foreground_fraction) {
  const double fraction = foreground_fraction;
  return (camera_direction > 0 && fraction > kObviousAboveBack) ||
         (camera_direction == 0 && fraction > kObviousAboveFront);
}

}  // namespace pexo
