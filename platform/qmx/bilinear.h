// SPDX-License-Identifier: Apache-2.0
// The bilinear scaler, in vector code for every instruction set.
#ifndef PEXO_QMX_BILINEAR_H_
#define PEXO_QMX_BILINEAR_H_

#include <cstddef>
#include <cstdint>

namespace pexo::qmx {

// Rows of pixels of `channels` interleaved 8-bit samples each; sizes in pixels, the stride in bytes.
struct Plane {
  uint8_t* data;
  std::ptrdiff_t stride;
  int width;
  int height;
  int channels;

  uint8_t* Row(int64_t y) const { return data + y * stride; }
};

// Scales between planes of as many channels, with sides below 2^30. A destination pixel takes its centre's place in
// the source, in 1/32768 of a pixel from the centre of the first, held within the picture:
//     step = round(2^32 * source side / destination side)
//     place(i) = clamp(floor(((2 i + 1) step - 2^32 + 2^17) / 2^18), 0, 32768 (source side - 1))
// and from there the two samples around it in a row, in 1/128 of a level, then the two rows:
//     between(a, b, place) = a + floor(((b - a) (place mod 32768) + 2^14) / 2^15)
//     sample = floor((between(between(128 a, 128 b, x), between(128 c, 128 d, x), y) + 64) / 128)
// Without `blend_rows` the nearest row serves alone. All is integer arithmetic, alike on every processor, within 0.52
// levels of the exact value, and exactly rounded where the places are halves of pixels.
void ScaleBilinear(const Plane& source, const Plane& destination, bool blend_rows);

}  // namespace pexo::qmx

#endif  // PEXO_QMX_BILINEAR_H_
