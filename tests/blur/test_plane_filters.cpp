// The plane filters against their formulas, and their worked examples.
#include "blur/plane_filters.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/blur/naive_filters.h"
#include "tests/blur/test_data.h"

namespace pexo {
namespace {

using testing::NaivePlane;

NaivePlane RandomPlane(int width, int height, uint64_t seed) {
  NaivePlane plane(width, height);
  testing::FillPattern(plane.pixels.data(), plane.pixels.size(), static_cast<testing::Pattern>(seed % 3), seed);
  return plane;
}

TEST(PlaneFilters, BoxFilterIsTheRoundedMeanOfItsWindow) {
  uint64_t seed = 0;
  for (const int width : {1, 2, 3, 8, 31, 70}) {
    for (const int height : {1, 2, 5, 17}) {
      for (const int radius : {0, 1, 2, 3, 4, 5, 9, 40}) {
        const NaivePlane source = RandomPlane(width, height, ++seed);
        NaivePlane result(width, height);
        EXPECT_EQ(BoxFilter(source.pixels.data(), width, height, width, result.pixels.data(), width, radius), 0);
        EXPECT_EQ(result.pixels, NaiveBox(source, radius).pixels) << width << "x" << height << " radius " << radius;
      }
    }
  }
}

TEST(PlaneFilters, BoxFilterRowsWritesOnlyItsRows) {
  constexpr int kWidth = 37, kHeight = 15, kRadius = 2;
  const NaivePlane source = RandomPlane(kWidth, kHeight, 5);
  const NaivePlane whole = NaiveBox(source, kRadius);
  for (int first = 0; first < kHeight; ++first) {
    for (int end = first; end <= kHeight; ++end) {
      NaivePlane result(kWidth, kHeight);
      NaivePlane expected(kWidth, kHeight);
      std::copy(whole.pixels.begin() + first * kWidth, whole.pixels.begin() + end * kWidth,
                expected.pixels.begin() + first * kWidth);
      BoxFilterRows(source.pixels.data(), kWidth, kHeight, kWidth, result.pixels.data(), kWidth, kRadius, first, end);
      EXPECT_EQ(result.pixels, expected.pixels) << first << " to " << end;
    }
  }
}

TEST(PlaneFilters, ResamplersFollowTheirFormulas) {
  uint64_t seed = 100;
  for (int width = 1; width <= 40; ++width) {
    for (int height = 1; height <= 9; ++height) {
      SCOPED_TRACE(::testing::Message() << width << "x" << height);
      const NaivePlane source = RandomPlane(width, height, ++seed);
      const uint8_t* pixels = source.pixels.data();
      NaivePlane half(width / 2, height / 2), quarter(width / 4, height / 4), doubled(2 * width, 2 * height);
      Downsample2x(half.pixels.data(), pixels, width, height, width, width / 2);
      EXPECT_EQ(half.pixels, NaiveDownsample2(source).pixels);
      Downsample4x(quarter.pixels.data(), pixels, width, height, width, width / 4);
      EXPECT_EQ(quarter.pixels, NaiveDownsample4(source).pixels);
      Upsample2x(doubled.pixels.data(), pixels, width, height, width, 2 * width, 1);
      EXPECT_EQ(doubled.pixels, NaiveUpsample2(source).pixels);
      if (height > 1) {
        // Without the bottom row the filter reads one row more than it expands: the top of a plane that goes on.
        NaivePlane upper(2 * width, 2 * (height - 1));
        Upsample2x(upper.pixels.data(), pixels, width, height - 1, width, 2 * width, 0);
        doubled.pixels.resize(upper.pixels.size());
        EXPECT_EQ(upper.pixels, doubled.pixels);
      }
    }
  }
}

TEST(PlaneFilters, SplitChromaPairsPutsSecondBytesFirst) {
  for (int pairs = 1; pairs <= 40; ++pairs) {
    constexpr int kRows = 3;
    const NaivePlane source = RandomPlane(2 * pairs + 3, kRows, static_cast<uint64_t>(pairs));
    NaivePlane first(pairs, kRows), second(pairs, kRows);
    SplitChromaPairs(first.pixels.data(), second.pixels.data(), source.pixels.data(), pairs, kRows, source.width);
    for (int y = 0; y < kRows; ++y) {
      for (int x = 0; x < pairs; ++x) {
        EXPECT_EQ(first.At(x, y), source.Clamped(2 * x + 1, y));
        EXPECT_EQ(second.At(x, y), source.Clamped(2 * x, y));
      }
    }
  }
  SplitChromaPairs(nullptr, nullptr, nullptr, 8, 0, 16);
}

TEST(PlaneFilters, WorkedExamples) {
  const uint8_t peak[9] = {0, 0, 0, 0, 9, 0, 0, 0, 0};
  uint8_t ones[9];
  BoxFilter(peak, 3, 3, 3, ones, 3, 1);
  for (const uint8_t value : ones) {
    EXPECT_EQ(value, 1);
  }
  const uint8_t corner[4] = {0, 0, 0, 2};
  uint8_t mean = 99;
  Downsample2x(&mean, corner, 2, 2, 2, 1);
  EXPECT_EQ(mean, 1);
  uint8_t single[16] = {255};
  Downsample4x(&mean, single, 4, 4, 4, 1);
  EXPECT_EQ(mean, 16);
  // Four values of 2/4 each round up twice: 1, where one mean of sixteen would give 0.
  const uint8_t twice[16] = {2, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  Downsample4x(&mean, twice, 4, 4, 4, 1);
  EXPECT_EQ(mean, 1);

  const uint8_t step[2] = {0, 1};
  uint8_t doubled[8];
  Upsample2x(doubled, step, 2, 1, 2, 4, 1);
  EXPECT_EQ(std::vector<uint8_t>(doubled, doubled + 8), (std::vector<uint8_t>{0, 1, 1, 1, 0, 1, 1, 1}));
}

TEST(PlaneFilters, TooFewRowsLeaveTheDestination) {
  const uint8_t source[64] = {};
  uint8_t untouched[16];
  std::fill(std::begin(untouched), std::end(untouched), uint8_t{7});
  Downsample2x(untouched, source, 8, 1, 8, 4);
  Downsample4x(untouched, source, 8, 3, 8, 2);
  BoxFilter(source, 8, 0, 8, untouched, 8, 1);
  for (const uint8_t value : untouched) {
    EXPECT_EQ(value, 7);
  }
}

}  // namespace
}  // namespace pexo
