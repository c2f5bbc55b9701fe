// SPDX-License-Identifier: Apache-2.0
// From the model's scores to a mask.
#ifndef PEXO_SNPE_DECODE_MASK_H_
#define PEXO_SNPE_DECODE_MASK_H_

#include <cstdint>

namespace pexo {

class Network;

// Writes the mask, one byte per pixel, from `scores`: output_height x output_width pairs (background, foreground), row
// by row. The network's fields decide how:
//
// - output_channels 1: the scores are the mask, at output size, in every layout mode.
// - layout_mode 0: a soft mask at output size, from the difference foreground - background, clamped to
//   lo = trunc(-12 threshold) and hi = trunc(120 threshold). lo becomes 0, 0 becomes 128 and hi becomes 255, linearly
//   on each side, with divisions that truncate. Nothing is written when lo is not negative or hi is not positive.
// - layout_mode 1: a hard mask at input size. Both score planes are doubled, moved up and left by one pixel and scaled
//   to the input size; 255 where the foreground is greater, 0 elsewhere. Throws std::bad_alloc.
// - any other layout_mode: nothing is written.
void DecodeMask(const Network& network, const uint8_t* scores, uint8_t* mask, float threshold);

}  // namespace pexo

#endif  // PEXO_SNPE_DECODE_MASK_H_
