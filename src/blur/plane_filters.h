// SPDX-License-Identifier: Apache-2.0
// Integer filters on 8-bit single-channel planes. Sizes in pixels, steps in bytes, planes row-major. Nothing outside
// the planes is read or written (but see Upsample2x without its flag); source and destination must not overlap. Steps
// hold a row. Stateless; callable from any thread.
#ifndef PEXO_BLUR_PLANE_FILTERS_H_
#define PEXO_BLUR_PLANE_FILTERS_H_

#include <cstdint>

namespace pexo {

// Mean of the (2 * radius + 1)^2 neighbourhood, the border pixels repeated outwards: (2^21 + sum * floor(2^22 /
// (2 * radius + 1)^2)) >> 22 in unsigned 32-bit arithmetic. Radius 0 (and below) copies. Returns 0.
int BoxFilter(const uint8_t* source, int width, int height, int source_step, uint8_t* destination, int destination_step,
              int radius);

// The same for output rows [first, end), written to their own places in `destination`. One work row is allocated; when
// that fails, the destination stays as it was.
void BoxFilterRows(const uint8_t* source, int width, int height, int source_step, uint8_t* destination,
                   int destination_step, int radius, int first, int end);

// Separates `rows` rows of `pairs` interleaved pairs into their odd and their even bytes, both tightly packed.
void SplitChromaPairs(uint8_t* odd, uint8_t* even, const uint8_t* source, int pairs, int rows, int source_step);

// Means of 2x2 blocks, (a + b + c + d + 2) >> 2, into a (width / 2) x (height / 2) plane; sizes are the source's. Does
// nothing when height < 2.
void Downsample2x(uint8_t* destination, const uint8_t* source, int width, int height, int source_step,
                  int destination_step);

// Means of 4x4 blocks into a (width / 4) x (height / 4) plane, rounded twice: Downsample2x of Downsample2x. Does
// nothing when height < 4.
void Downsample4x(uint8_t* destination, const uint8_t* source, int width, int height, int source_step,
                  int destination_step);

// Doubles both sizes: the source pixels, and rounded means of two or four neighbours between them. The last column is
// its own right neighbour. With `bottom_row_flag` 1 the last row is its own lower neighbour; with 0 the plane goes on
// below and row `height` is read too. Any width from 1 up.
void Upsample2x(uint8_t* destination, const uint8_t* source, int width, int height, int source_step,
                int destination_step, int bottom_row_flag);

}  // namespace pexo

#endif  // PEXO_BLUR_PLANE_FILTERS_H_
