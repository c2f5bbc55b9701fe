// From the model's scores to a mask.
#ifndef PEXO_SNPE_DECODE_MASK_H_
#define PEXO_SNPE_DECODE_MASK_H_

#include <cstdint>

namespace pexo {

class SnpeNetwork;

// Writes the mask, one byte a pixel, from `scores`: output_height x output_width pairs (background, foreground), row by
// row. By the network's fields:
//   output_channels 1: the scores are the mask; output size.
//   layout_mode 0: soft mask from the difference of the scores, output size. The difference is clamped to
//     lo = trunc(-12 threshold) and hi = trunc(120 threshold); lo maps to 0, 0 to 128, hi to 255, linearly on each side
//     with divisions that truncate. Nothing is written when lo is not negative or hi not positive.
//   layout_mode 1: hard mask, input size. Both score planes are doubled, moved up and left by one pixel and scaled to
//   the
//     input size; 255 where the foreground is greater, else 0. Throws std::bad_alloc.
//   otherwise: nothing is written.
void DecodeMask(const SnpeNetwork& network, const uint8_t* scores, uint8_t* mask, float threshold);

}  // namespace pexo

#endif  // PEXO_SNPE_DECODE_MASK_H_
