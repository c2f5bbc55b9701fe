// SPDX-License-Identifier: Apache-2.0
// The definition of every row kernel: one pixel at a time, in the order the formulas are written.
#include <cassert>

#include "kernels/kernel_table.h"

namespace pexo {
namespace {

uint8_t MeanOf4(int a, int b, int c, int d) {
  return static_cast<uint8_t>((a + b + c + d + 2) >> 2);
}

void SplitPairs(uint8_t* odd, uint8_t* even, const uint8_t* source, int pairs) {
  for (int i = 0; i < pairs; ++i) {
    even[i] = source[2 * i];
    odd[i] = source[2 * i + 1];
  }
}

void MergePairs(uint8_t* destination, const uint8_t* odd, const uint8_t* even, int pairs) {
  for (int i = 0; i < pairs; ++i) {
    destination[2 * i] = even[i];
    destination[2 * i + 1] = odd[i];
  }
}

void Downsample2(uint8_t* destination, const uint8_t* above, const uint8_t* below, int width) {
  for (int x = 0; x < width; ++x) {
    destination[x] = MeanOf4(above[2 * x], above[2 * x + 1], below[2 * x], below[2 * x + 1]);
  }
}

void Downsample4(uint8_t* destination, const uint8_t* source, ptrdiff_t step, int width) {
  for (int x = 0; x < width; ++x) {
    uint8_t quarter[4];
    for (int block = 0; block < 4; ++block) {
      const uint8_t* above = source + (block / 2) * 2 * step + 4 * x + (block % 2) * 2;
      const uint8_t* below = above + step;
      quarter[block] = MeanOf4(above[0], above[1], below[0], below[1]);
    }
    destination[x] = MeanOf4(quarter[0], quarter[1], quarter[2], quarter[3]);
  }
}

void Upsample2(uint8_t* upper, uint8_t* lower, const uint8_t* above, const uint8_t* below, int width) {
  for (int x = 0; x < width; ++x) {
    const int right = x + 1 < width ? x + 1 : x;
    const int a = above[x], b = above[right], c = below[x], d = below[right];
    upper[2 * x] = above[x];
    upper[2 * x + 1] = static_cast<uint8_t>((a + b + 1) >> 1);
    lower[2 * x] = static_cast<uint8_t>((a + c + 1) >> 1);
    lower[2 * x + 1] = MeanOf4(a, b, c, d);
  }
}

void SlideSums(uint16_t* sums, const uint8_t* entering, const uint8_t* leaving, int width) {
  for (int x = 0; x < width; ++x) {
    sums[x] = static_cast<uint16_t>(sums[x] + entering[x] - leaving[x]);
  }
}

void MeanOfSums(uint8_t* destination, const uint16_t* sums, int width, int radius) {
  assert(radius >= 1 && radius <= kMaxNarrowBoxRadius);
  const uint32_t window = 2 * static_cast<uint32_t>(radius) + 1;
  const uint32_t reciprocal = (1u << 22) / (window * window);
  for (int x = 0; x < width; ++x) {
    uint32_t sum = 0;
    for (uint32_t i = 0; i < window; ++i) {
      sum += sums[static_cast<uint32_t>(x) + i];
    }
    destination[x] = static_cast<uint8_t>(((1u << 21) + sum * reciprocal) >> 22);
  }
}

void Blend(uint8_t* destination, const uint8_t* blurred, const uint8_t* sharp, const uint8_t* mask, int width) {
  for (int x = 0; x < width; ++x) {
    // At most 255 * 255, so 16 unsigned bits hold it.
    destination[x] = static_cast<uint8_t>((blurred[x] * (255 - mask[x]) + sharp[x] * mask[x]) >> 8);
  }
}

void BlendTowardsGrey(uint8_t* chroma, const uint8_t* mask, int width) {
  for (int x = 0; x < width; ++x) {
    chroma[x] = static_cast<uint8_t>(((128 * (255 - mask[x]) + chroma[x] * mask[x]) >> 8) + 1);
  }
}

void DecodeSoftScores(const uint8_t* scores, int count, uint8_t* mask, int lo, int hi) {
  assert(lo < 0 && hi > 0);
  for (int i = 0; i < count; ++i) {
    const int difference = scores[2 * i + 1] - scores[2 * i];
    const int raised = difference < lo ? lo : difference;
    const int clamped = raised > hi ? hi : raised;
    const int64_t value = clamped >= 1 ? 255 - (static_cast<int64_t>(hi) - clamped) * 128 / hi
                                       : (static_cast<int64_t>(lo) - clamped) * 128 / lo;
    mask[i] = static_cast<uint8_t>(value);
  }
}

void CompareScores(const uint8_t* foreground, const uint8_t* background, int count, uint8_t* mask) {
  for (int i = 0; i < count; ++i) {
    mask[i] = foreground[i] > background[i] ? 255 : 0;
  }
}

int CountForeground(const uint8_t* mask, int count) {
  int foreground = 0;
  for (int i = 0; i < count; ++i) {
    foreground += mask[i] >> 7;
  }
  return foreground;
}

void ApplyTable(uint8_t* pixels, int count, const uint8_t* table) {
  for (int i = 0; i < count; ++i) {
    pixels[i] = table[pixels[i]];
  }
}

}  // namespace

void FillScalarKernels(KernelTable& table) {
  table = {.split_pairs = SplitPairs,
           .merge_pairs = MergePairs,
           .downsample2 = Downsample2,
           .downsample4 = Downsample4,
           .upsample2 = Upsample2,
           .slide_sums = SlideSums,
           .mean_of_sums = MeanOfSums,
           .blend = Blend,
           .blend_towards_grey = BlendTowardsGrey,
           .decode_soft_scores = DecodeSoftScores,
           .compare_scores = CompareScores,
           .count_foreground = CountForeground,
           .apply_table = ApplyTable};
}

}  // namespace pexo
