// SPDX-License-Identifier: Apache-2.0
// Whether somebody is in the picture: the frame decision, its debouncing, and when the colour effect applies.
#ifndef PEXO_API_PRESENCE_H_
#define PEXO_API_PRESENCE_H_

#include <cstdint>

namespace pexo {

// A new decision is kept once it has held for six frames after the one on which it first appeared. Starts as "present".
class PresenceDebouncer {
 public:
  // Takes one frame's decision and returns the kept one.
  bool Update(bool present);

 private:
  bool presence_prev_ = true;
  bool presence_stable_ = true;
  int32_t presence_run_ = 0;  // frames that the current decision has held, stopping at INT32_MAX
};

// The one instance, shared by all handles of the process; guarded by api_lock and never reset.
PresenceDebouncer& SharedPresence();

// The decision for one frame, from its share of foreground pixels. A negative direction has no thresholds: always
// present.
bool IsPersonPresent(int32_t camera_direction, float foreground_fraction);

// Whether a person fills so much of the frame that the effect applies whatever the debounced decision says.
bool IsPersonObvious(int32_t camera_direction, float foreground_fraction);

}  // namespace pexo

#endif  // PEXO_API_PRESENCE_H_
