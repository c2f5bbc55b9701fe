// Per-pixel work on masks, scores and chroma. Plain pointers and counts; exact to the byte whatever the processor has;
// nothing outside the named bytes is read or written. Callable from any thread.
#ifndef PEXO_KERNELS_MASK_KERNELS_H_
#define PEXO_KERNELS_MASK_KERNELS_H_

#include <stdint.h>

namespace pexo {

// In place on one row of interleaved chroma: c = ((128 * (255 - m) + c * m) >> 8) + 1 with m the mask byte at the same
// column. Mask 0 gives 128, mask 255 gives c back (1 where c was 0).
void BlendChromaTowardsGrey(uint8_t* chroma, const uint8_t* mask, int width);

// `count` pairs (background, foreground) become mask bytes. With d = foreground - background clamped to [lo, hi]:
// 255 - (hi - d) * 128 / hi where d >= 1, (lo - d) * 128 / lo elsewhere, divisions truncating. lo < 0 < hi.
void DecodeSoftScores(const uint8_t* scores, int count, uint8_t* mask, int lo, int hi);

// 255 where foreground > background, else 0. `mask` may be one of the inputs.
void CompareScores(const uint8_t* foreground, const uint8_t* background, int count, uint8_t* mask);

// In place on a tightly packed plane: pixel (r, c) takes the value of (r + 1, c + 1); the last row and the last column
// keep theirs.
void ShiftUpLeft(uint8_t* plane, int width, int height);

// How many bytes are at least 128.
int CountForeground(const uint8_t* mask, int count);

// In place: every byte becomes table[byte]; `table` holds 256 bytes.
void ApplyTable(uint8_t* pixels, int count, const uint8_t* table);

}  // namespace pexo

#endif  // PEXO_KERNELS_MASK_KERNELS_H_
