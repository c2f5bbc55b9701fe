// SPDX-License-Identifier: Apache-2.0
// A coarse mask brought to the edges of the picture.
#ifndef PEXO_COMPOSITOR_MASK_REFINER_H_
#define PEXO_COMPOSITOR_MASK_REFINER_H_

#include <pexo/compositor/compositor.h>

#include "enlarger.h"
#include "frame_rows.h"
#include "guide.h"

namespace pexo::compositor {

// A guided filter with the colour picture as its guide: it is fitted at the guide's size, and its coefficients are
// enlarged and applied to the frame's own pixels. Levels then push what is nearly background or person all the way.
class MaskRefiner {
 public:
  // Starts on a frame. `mask` has twice the guide's size; with Edges::kModel it is only enlarged. The frame has to stay
  // until its last row.
  void Open(const ConstFrame& frame, const Guide& guide, const Plane<uint8_t>& mask, Edges edges);

  // The masks of luma rows 2 * pair and 2 * pair + 1, in padded rows; pairs in order from 0.
  void RowPair(int pair, uint8_t* upper, uint8_t* lower);

 private:
  void OpenEnlarged(const Plane<uint8_t>& mask);
  const int16_t* ChromaTerm(int row);

  ConstFrame frame_;
  Edges edges_ = Edges::kPicture;
  RowReader reader_;
  GuidedFilter filter_;
  Plane<float> coarse_;
  LinearModel model_;
  Plane<int16_t> coefficients_[4];  // a_y, a_u, a_v, b in Q11; with Edges::kModel the mask in Q7 in the first
  Enlarger enlargers_[4];           // to luma size, and three to chroma size
  Plane<int16_t> term_;             // one row at chroma size
  Plane<int16_t> terms_;            // three rows at luma size
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_MASK_REFINER_H_
