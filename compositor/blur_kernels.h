// SPDX-License-Identifier: Apache-2.0
// The steps of the weighted blur on rows of its small picture, in floats. The same bytes on every processor of an
// architecture: no sums across elements, no fused multiply-add.
//
// "Pixels" are four floats side by side: the weight, and luma, U and V multiplied by it. Rows are padded as for
// row_kernels.h.
#ifndef PEXO_COMPOSITOR_BLUR_KERNELS_H_
#define PEXO_COMPOSITOR_BLUR_KERNELS_H_

#include <cstdint>

namespace pexo::compositor {

// Zero pixels that BoxRows reads on either side of a row.
inline constexpr int kBlurMargin = 16;

// Puts planar sums together. With `above` and `below`, weights of the neighbouring rows, each pixel is scaled down to
// the least weight of the 3x3; all weight rows then have a readable element on either side. They may be null together.
void WeighRow(int width, const float* above, const float* weight, const float* below, const float* luma, const float* u,
              const float* v, float* pixels);

// Sums over 2 * radius + 1 pixels of four rows at once; radius up to kBlurMargin - 1.
void BoxRows(int width, int radius, const float* const in[4], float* const out[4]);

// out = sums += entering - leaving
void SlideRow(int count, const float* entering, const float* leaving, float* sums, float* out);

// The quotients as Q7; chroma comes from the middle.
void DivideRow(int width, const float* pixels, int16_t* luma, int16_t* u, int16_t* v);

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_BLUR_KERNELS_H_
