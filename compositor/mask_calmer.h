// SPDX-License-Identifier: Apache-2.0
// Masks that do not flicker where the picture stands still.
#ifndef PEXO_COMPOSITOR_MASK_CALMER_H_
#define PEXO_COMPOSITOR_MASK_CALMER_H_

#include <cstdint>

#include "enlarger.h"
#include "guide.h"

namespace pexo::compositor {

// Draws each refined mask towards the one before, as far as the small pictures of the two frames are alike there. Holds
// the finished mask, which is also the memory for the next frame.
class MaskCalmer {
 public:
  // The next frame starts afresh, as it does by itself after a change of size. A cut needs no reset: where two pictures
  // have nothing in common, nothing of the mask is kept.
  void Reset() { has_memory_ = false; }

  // Starts on a frame of width x height. `strength`: 0 (as refined) to 1.
  void Open(const Guide& guide, int width, int height, double strength);

  // Finishes row y from the refined one, padded.
  void Row(int y, const uint8_t* refined);

  const Plane<uint8_t>& mask() const { return mask_; }

 private:
  // Makes the weights from the difference to the picture before.
  void WeighLikeness(const Guide& guide, float strength);

  Guide before_;
  Plane<float> difference_;
  Plane<float> change_;
  BoxMean box_;
  Plane<int16_t> weights_;  // Q15
  Enlarger enlarger_;
  Plane<uint8_t> mask_;
  bool has_memory_ = false;
  bool calms_ = false;  // this frame
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_MASK_CALMER_H_
