// SPDX-License-Identifier: Apache-2.0
// The small picture that edges and calm are computed from, and the arithmetic on planes of its size.
#ifndef PEXO_COMPOSITOR_GUIDE_H_
#define PEXO_COMPOSITOR_GUIDE_H_

#include "planar_picture.h"

namespace pexo::compositor {

// Half the segmenter's picture in each direction, where luma and chroma have one size. Values are (level - 128) over
// the range's span, so limited range weighs the same as full range.
struct Guide {
  Plane<float> y;
  Plane<float> u;
  Plane<float> v;
};
void MakeGuide(const PlanarPicture& picture, Guide& guide);

// The mean of each 2x2 of a mask, 0..1.
void HalveMask(const Plane<uint8_t>& mask, Plane<float>& out);

// The mean over (2 * radius + 1)^2 pixels; outside the plane its border repeats. `out` has the size of the source and
// may be the source.
class BoxMean {
 public:
  void Filter(const Plane<float>& source, int radius, Plane<float>& out);

 private:
  Plane<float> sums_;
};

// Of the linear model mask = a_y*Y + a_u*U + a_v*V + b in each pixel's neighbourhood.
struct LinearModel {
  Plane<float> a_y, a_u, a_v, b;
};

// The guided filter's models, averaged over the neighbourhoods that a pixel belongs to.
class GuidedFilter {
 public:
  void Fit(const Guide& guide, const Plane<float>& mask, LinearModel& model);

 private:
  static constexpr int kProducts = 13;
  Plane<float> means_[kProducts];
  BoxMean box_;
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_GUIDE_H_
