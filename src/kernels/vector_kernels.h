// SPDX-License-Identifier: Apache-2.0
// The row kernels once for all vector widths. Each instruction set's file defines a type V of small operations in its
// unnamed namespace and instantiates these with it, so that nothing compiled for a newer processor can be merged with
// another file's code.
//
// V::Table, a lookup of 256 bytes, may be missing where the instruction set has no byte shuffle.
//
// V::kBytes lanes of 8 bits make a V::U8, half as many of 16 bits a V::U16. Rows shorter than a block go to the tier
// below; the last, partial block of a longer row is one that ends with the row and does some pixels again.
#ifndef PEXO_KERNELS_VECTOR_KERNELS_H_
#define PEXO_KERNELS_VECTOR_KERNELS_H_

#include <cassert>

#include "kernels/kernel_table.h"

namespace pexo {

template <typename V>
class VectorKernels {
 public:
  static void Override(KernelTable& table) {
    below_ = table;
    table.split_pairs = SplitPairs;
    table.merge_pairs = MergePairs;
    table.downsample2 = Downsample2;
    table.downsample4 = Downsample4;
    table.upsample2 = Upsample2;
    table.slide_sums = SlideSums;
    table.mean_of_sums = MeanOfSums;
    table.blend = Blend;
    table.blend_towards_grey = BlendTowardsGrey;
    table.decode_soft_scores = DecodeSoftScores;
    table.compare_scores = CompareScores;
    table.count_foreground = CountForeground;
    if constexpr (requires { typename V::Table; }) {
      table.apply_table = ApplyTable;
    }
  }

 private:
  using U8 = typename V::U8;
  using U16 = typename V::U16;
  static constexpr int kBytes = V::kBytes;
  static constexpr int kWords = V::kBytes / 2;

  // Calls block(x) for x = 0, kBytes, ... and once more for the block that ends with the row.
  template <typename Block>
  static void ForBlocks(int width, Block block) {
    int x = 0;
    for (; x + kBytes <= width; x += kBytes) block(x);
    if (x < width) {
      block(width - kBytes);
    }
  }

  // The same for destinations that are also sources: value(x) makes a block, and the last one is made before the first
  // is stored.
  template <typename Value>
  static void ForBlocksInPlace(uint8_t* destination, int width, Value value) {
    const U8 last = value(width - kBytes);
    for (int x = 0; x + kBytes <= width; x += kBytes) V::Store(destination + x, value(x));
    V::Store(destination + width - kBytes, last);
  }

  static void SplitPairs(uint8_t* odd, uint8_t* even, const uint8_t* source, int pairs) {
    if (pairs < kBytes) return below_.split_pairs(odd, even, source, pairs);
    ForBlocks(pairs, [=](int x) {
      U8 even_bytes, odd_bytes;
      V::LoadPairs(source + 2 * x, even_bytes, odd_bytes);
      V::Store(even + x, even_bytes);
      V::Store(odd + x, odd_bytes);
    });
  }

  static void MergePairs(uint8_t* destination, const uint8_t* odd, const uint8_t* even, int pairs) {
    if (pairs < kBytes) return below_.merge_pairs(destination, odd, even, pairs);
    ForBlocks(pairs, [=](int x) { V::StorePairs(destination + 2 * x, V::Load(even + x), V::Load(odd + x)); });
  }

  static U16 MeanOf2x2(U8 above, U8 below) {
    const U16 sum = V::Add16(V::SumPairs(above), V::SumPairs(below));
    return V::template ShiftRight16<2>(V::Add16(sum, V::Splat16(2)));
  }

  static U8 MeanOf2x2(const uint8_t* above, const uint8_t* below) {
    return V::Narrow(MeanOf2x2(V::Load(above), V::Load(below)),
                     MeanOf2x2(V::Load(above + kBytes), V::Load(below + kBytes)));
  }

  static void Downsample2(uint8_t* destination, const uint8_t* above, const uint8_t* below, int width) {
    if (width < kBytes) return below_.downsample2(destination, above, below, width);
    ForBlocks(width, [=](int x) { V::Store(destination + x, MeanOf2x2(above + 2 * x, below + 2 * x)); });
  }

  static void Downsample4(uint8_t* destination, const uint8_t* source, ptrdiff_t step, int width) {
    if (width < kBytes) return below_.downsample4(destination, source, step, width);
    ForBlocks(width, [=](int x) {
      const uint8_t* row[4];
      for (int i = 0; i < 4; ++i) row[i] = source + i * step + 4 * x;
      const U16 left = MeanOf2x2(MeanOf2x2(row[0], row[1]), MeanOf2x2(row[2], row[3]));
      const U16 right = MeanOf2x2(MeanOf2x2(row[0] + 2 * kBytes, row[1] + 2 * kBytes),
                                  MeanOf2x2(row[2] + 2 * kBytes, row[3] + 2 * kBytes));
      V::Store(destination + x, V::Narrow(left, right));
    });
  }

  // Four rounded means of a pixel block and its right, lower and diagonal neighbours, all in 8 bits: the mean of the
  // two vertical means is one too high where both it and at least one of them were rounded up.
  static void UpsampleBlock(uint8_t* upper, uint8_t* lower, U8 a, U8 b, U8 c, U8 d) {
    const U8 left = V::Average(a, c);
    const U8 right = V::Average(b, d);
    const U8 rounded = V::And(V::Or(V::Xor(a, c), V::Xor(b, d)), V::Xor(left, right));
    const U8 centre = V::Sub(V::Average(left, right), V::And(rounded, V::Splat(1)));
    V::StorePairs(upper, a, V::Average(a, b));
    V::StorePairs(lower, left, centre);
  }

  static void Upsample2(uint8_t* upper, uint8_t* lower, const uint8_t* above, const uint8_t* below, int width) {
    if (width < kBytes) return below_.upsample2(upper, lower, above, below, width);
    int x = 0;
    for (; x + kBytes < width; x += kBytes) {
      UpsampleBlock(upper + 2 * x, lower + 2 * x, V::Load(above + x), V::Load(above + x + 1), V::Load(below + x),
                    V::Load(below + x + 1));
    }
    x = width - kBytes;
    const U8 a = V::Load(above + x);
    const U8 c = V::Load(below + x);
    UpsampleBlock(upper + 2 * x, lower + 2 * x, a, V::NextLane(a), c, V::NextLane(c));
  }

  static void SlideSums(uint16_t* sums, const uint8_t* entering, const uint8_t* leaving, int width) {
    if (width < kWords) return below_.slide_sums(sums, entering, leaving, width);
    const auto slide = [=](int x) {
      return V::Sub16(V::Add16(V::Load16(sums + x), V::LoadWide(entering + x)), V::LoadWide(leaving + x));
    };
    const U16 last = slide(width - kWords);
    for (int x = 0; x + kWords <= width; x += kWords) V::Store16(sums + x, slide(x));
    V::Store16(sums + width - kWords, last);
  }

  // (sum + window / 2) / window by a reciprocal rounded up: equal to (2^21 + sum * floor(2^22 / window)) >> 22 for
  // every sum up to 255 * window (the tests go through all sums), and nothing on the way passes 16 bits.
  template <int kRadius>
  static U16 MeanOfWindow(const uint16_t* sums) {
    constexpr uint32_t kWindow = (2 * kRadius + 1) * (2 * kRadius + 1);
    constexpr int kShift = 3;
    constexpr uint32_t kReciprocal = ((1u << (16 + kShift)) + kWindow - 1) / kWindow;
    static_assert(kReciprocal <= 65535 && 255 * kWindow + kWindow / 2 <= 65535);
    U16 sum = V::Add16(V::Load16(sums), V::Splat16(kWindow / 2));
    for (int i = 1; i <= 2 * kRadius; ++i) sum = V::Add16(sum, V::Load16(sums + i));
    return V::template ShiftRight16<kShift>(V::MulHigh16(sum, V::Splat16(kReciprocal)));
  }

  template <int kRadius>
  static void MeanOfSumsRow(uint8_t* destination, const uint16_t* sums, int width) {
    ForBlocks(width, [=](int x) {
      V::Store(destination + x, V::Narrow(MeanOfWindow<kRadius>(sums + x), MeanOfWindow<kRadius>(sums + x + kWords)));
    });
  }

  static void MeanOfSums(uint8_t* destination, const uint16_t* sums, int width, int radius) {
    assert(radius >= 1 && radius <= kMaxNarrowBoxRadius);
    if (width < kBytes) {
      below_.mean_of_sums(destination, sums, width, radius);
    } else if (radius == 1) {
      MeanOfSumsRow<1>(destination, sums, width);
    } else if (radius == 2) {
      MeanOfSumsRow<2>(destination, sums, width);
    } else if (radius == 3) {
      MeanOfSumsRow<3>(destination, sums, width);
    } else {
      MeanOfSumsRow<4>(destination, sums, width);
    }
  }

  static void Blend(uint8_t* destination, const uint8_t* blurred, const uint8_t* sharp, const uint8_t* mask,
                    int width) {
    if (width < kBytes) return below_.blend(destination, blurred, sharp, mask, width);
    ForBlocksInPlace(destination, width,
                     [=](int x) { return V::Blend(V::Load(blurred + x), V::Load(sharp + x), V::Load(mask + x)); });
  }

  static void BlendTowardsGrey(uint8_t* chroma, const uint8_t* mask, int width) {
    if (width < kBytes) return below_.blend_towards_grey(chroma, mask, width);
    ForBlocksInPlace(chroma, width, [=](int x) {
      return V::Add(V::Blend(V::Splat(128), V::Load(chroma + x), V::Load(mask + x)), V::Splat(1));
    });
  }

  // value * 128 / divisor for values up to the divisor, 2 to 255: `factor` is 2^(16 + shift) / divisor rounded up, and
  // with values below 2^15 the error it brings stays below one part of the divisor.
  struct Of128 {
    explicit Of128(int divisor) : limit(V::Splat(static_cast<uint8_t>(divisor))) {
      while ((2 << shift) < divisor) ++shift;
      factor = V::Splat16(static_cast<uint16_t>(((65536 << shift) + divisor - 1) / divisor));
    }
    U8 operator()(U8 value) const {
      const U16 low = V::template ShiftLeft16<7>(V::WidenLow(value));
      const U16 high = V::template ShiftLeft16<7>(V::WidenHigh(value));
      return V::NarrowHalves(V::ShiftRight16By(V::MulHigh16(low, factor), shift),
                             V::ShiftRight16By(V::MulHigh16(high, factor), shift));
    }
    U8 limit;
    U16 factor;
    int shift = 0;
  };

  static void DecodeSoftScores(const uint8_t* scores, int count, uint8_t* mask, int lo, int hi) {
    assert(lo < 0 && hi > 0);
    if (count < kBytes || hi < 2 || hi > 255 || lo > -2 || lo < -255) {
      return below_.decode_soft_scores(scores, count, mask, lo, hi);
    }
    const Of128 above(hi), under(-lo);
    ForBlocks(count, [&](int x) {
      U8 background, foreground;
      V::LoadPairs(scores + 2 * x, background, foreground);
      // How far the difference stays short of hi, and of lo: 0 from there on.
      const U8 short_of_hi = V::SubSaturating(above.limit, V::SubSaturating(foreground, background));
      const U8 short_of_lo = V::SubSaturating(under.limit, V::SubSaturating(background, foreground));
      const U8 positive = V::Sub(V::Splat(255), above(short_of_hi));
      V::Store(mask + x, V::Select(V::GreaterThan(foreground, background), positive, under(short_of_lo)));
    });
  }

  static void CompareScores(const uint8_t* foreground, const uint8_t* background, int count, uint8_t* mask) {
    if (count < kBytes) return below_.compare_scores(foreground, background, count, mask);
    ForBlocksInPlace(mask, count,
                     [=](int x) { return V::GreaterThan(V::Load(foreground + x), V::Load(background + x)); });
  }

  static int CountForeground(const uint8_t* mask, int count) {
    int foreground = 0;
    int x = 0;
    while (x + kBytes <= count) {
      // A lane counts at most 255 of its pixels before it is added up.
      U8 lanes = V::Splat(0);
      for (int blocks = 0; blocks < 255 && x + kBytes <= count; ++blocks, x += kBytes) {
        lanes = V::Sub(lanes, V::GreaterThan(V::Load(mask + x), V::Splat(127)));
      }
      foreground += V::SumOfLanes(lanes);
    }
    return foreground + below_.count_foreground(mask + x, count - x);
  }

  static void ApplyTable(uint8_t* pixels, int count, const uint8_t* table) {
    // Below a few blocks loading the table costs more than it saves.
    if (count < 256) return below_.apply_table(pixels, count, table);
    const typename V::Table lookup(table);
    ForBlocksInPlace(pixels, count, [&](int x) { return lookup(V::Load(pixels + x)); });
  }

  inline static KernelTable below_{};
};

}  // namespace pexo

#endif  // PEXO_KERNELS_VECTOR_KERNELS_H_
