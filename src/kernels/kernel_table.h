// SPDX-License-Identifier: Apache-2.0
// The pixel kernels' dispatch: one table of row kernels, scalar first and overridden by what the processor has.
//
// Rows are plain pointers and counts. A kernel reads and writes exactly the bytes named here, never a byte beside them,
// and needs no alignment. Counts are 0 or more. Source and destination must not overlap unless the comment says "in
// place". Every fast form gives the same bytes as the scalar form, which is the definition.
#ifndef PEXO_KERNELS_KERNEL_TABLE_H_
#define PEXO_KERNELS_KERNEL_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace pexo {

// The largest box radius with a fast form: its sums fit 16 bits and its reciprocal is exact in a 16-bit product.
inline constexpr int kMaxNarrowBoxRadius = 4;

struct KernelTable {
  // Pairs (even, odd) of `source`, `pairs` of them, into two rows.
  void (*split_pairs)(uint8_t* odd, uint8_t* even, const uint8_t* source, int pairs);
  // The inverse.
  void (*merge_pairs)(uint8_t* destination, const uint8_t* odd, const uint8_t* even, int pairs);

  // `width` means of 2x2 blocks, (sum + 2) >> 2, from two rows of 2 * width pixels.
  void (*downsample2)(uint8_t* destination, const uint8_t* above, const uint8_t* below, int width);
  // `width` means of 4x4 blocks, rounded per 2x2 and again over the four, from four rows of 4 * width pixels `step`
  // bytes apart.
  void (*downsample4)(uint8_t* destination, const uint8_t* source, ptrdiff_t step, int width);
  // Two rows of 2 * width pixels from one source row and the row below it, `width` pixels each. The last column is its
  // own right neighbour. With below == above both rows are the horizontal expansion.
  void (*upsample2)(uint8_t* upper, uint8_t* lower, const uint8_t* above, const uint8_t* below, int width);

  // Column sums of a box filter, radius 1 to kMaxNarrowBoxRadius: sums[x] += entering[x] - leaving[x].
  void (*slide_sums)(uint16_t* sums, const uint8_t* entering, const uint8_t* leaving, int width);
  // Rounded means of windows of 2 * radius + 1 column sums: output x from sums[x] to sums[x + 2 * radius].
  void (*mean_of_sums)(uint8_t* destination, const uint16_t* sums, int width, int radius);

  // (blurred * (255 - mask) + sharp * mask) >> 8. `destination` may be one of the sources (in place).
  void (*blend)(uint8_t* destination, const uint8_t* blurred, const uint8_t* sharp, const uint8_t* mask, int width);

  // In place on a row of interleaved chroma: ((128 * (255 - mask) + chroma * mask) >> 8) + 1. Mask 0 gives 128, mask
  // 255 gives chroma back (1 where it was 0).
  void (*blend_towards_grey)(uint8_t* chroma, const uint8_t* mask, int width);

  // `count` pairs (background, foreground) become mask bytes. With d = foreground - background clamped to [lo, hi]:
  // 255 - (hi - d) * 128 / hi where d >= 1, (lo - d) * 128 / lo elsewhere, divisions truncating. lo < 0 < hi.
  void (*decode_soft_scores)(const uint8_t* scores, int count, uint8_t* mask, int lo, int hi);
  // 255 where foreground > background, else 0. `mask` may be one of the inputs.
  void (*compare_scores)(const uint8_t* foreground, const uint8_t* background, int count, uint8_t* mask);
  // How many bytes are at least 128.
  int (*count_foreground)(const uint8_t* mask, int count);
  // In place: every byte becomes table[byte]; `table` holds 256 bytes.
  void (*apply_table)(uint8_t* pixels, int count, const uint8_t* table);
};

// The table in use, filled once while the library loads with the best tier the processor has. Read-only afterwards, so
// any thread may use it.
const KernelTable& Kernels();

// An instruction set with kernels of its own.
struct KernelTier {
  const char* name;
  bool (*available)();
  void (*fill)(KernelTable& table);  // puts its kernels over those of the tiers below
};

// The tiers that this processor can run, each above the ones before it. The first is the scalar one.
const std::vector<KernelTier>& KernelTiers();

// Refills the table up to `tier`, one of KernelTiers(): for tests and benches, while no other thread is inside the
// library.
void ForceKernelTier(const KernelTier& tier);

void FillScalarKernels(KernelTable& table);
void FillSse2Kernels(KernelTable& table);
void FillAvx2Kernels(KernelTable& table);
void FillNeonKernels(KernelTable& table);

}  // namespace pexo

#endif  // PEXO_KERNELS_KERNEL_TABLE_H_
