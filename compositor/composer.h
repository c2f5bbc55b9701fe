// SPDX-License-Identifier: Apache-2.0
// The second stage: from a frame and its segmentation to the finished picture.
#ifndef PEXO_COMPOSITOR_COMPOSER_H_
#define PEXO_COMPOSITOR_COMPOSER_H_

#include "backdrop.h"
#include "mask_calmer.h"
#include "mask_refiner.h"
#include "segmenter.h"

namespace pexo::compositor {

// Two passes over the rows: the mask, with what the background needs to see; then the picture.
class Composer {
 public:
  Composer(Edges edges, double calm, int rotation) : edges_(edges), calm_(calm), rotation_(rotation) {}

  Backdrop& backdrop() { return backdrop_; }
  const Plane<uint8_t>& mask() const { return calmer_.mask(); }

  // The next frame has nothing to do with those before.
  void Reset() { calmer_.Reset(); }

  // The two frames have one size; they may be the same.
  void Compose(const ConstFrame& frame, const Segmentation& segmentation, const Frame& output);

 private:
  void MakeMask(const ConstFrame& frame, const Segmentation& segmentation);
  RowPair ReadRows(int pair);

  Edges edges_;
  double calm_;
  int rotation_;
  Guide guide_;
  MaskRefiner refiner_;
  MaskCalmer calmer_;
  Backdrop backdrop_;
  RowReader reader_;
  RowWriter writer_;
  Plane<uint8_t> refined_;  // two rows
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_COMPOSER_H_
