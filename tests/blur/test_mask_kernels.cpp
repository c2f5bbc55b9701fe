#include "kernels/mask_kernels.h"

#include <gtest/gtest.h>

#include <vector>

namespace pexo {
namespace {

TEST(MaskKernels, ChromaTurnsGreyWhereTheMaskIsLow) {
  std::vector<uint8_t> chroma, mask, expected;
  for (int m = 0; m < 256; ++m) {
    for (int c = 0; c < 256; ++c) {
      chroma.push_back(static_cast<uint8_t>(c));
      mask.push_back(static_cast<uint8_t>(m));
      expected.push_back(static_cast<uint8_t>((32640 - 128 * m + c * m) / 256 + 1));
    }
  }
  BlendChromaTowardsGrey(chroma.data(), mask.data(), static_cast<int>(chroma.size()));
  EXPECT_EQ(chroma, expected);
  EXPECT_EQ(chroma[77], 128);               // mask 0
  EXPECT_EQ(chroma[255 * 256 + 200], 200);  // mask 255
  EXPECT_EQ(chroma[255 * 256], 1);
}

TEST(MaskKernels, SoftScoresFollowTheDifference) {
  struct Case {
    uint8_t background, foreground, mask;
  };
  for (const Case& c : {Case{200, 200, 128}, Case{0, 255, 255}, Case{255, 0, 0}, Case{100, 101, 130}, Case{4, 0, 0},
                        Case{3, 0, 32}, Case{0, 43, 255}, Case{0, 42, 253}}) {
    // Alone, and amid so many others that no form falls back to its tail.
    std::vector<uint8_t> scores, mask(131);
    for (size_t i = 0; i < mask.size(); ++i) {
      scores.push_back(c.background);
      scores.push_back(c.foreground);
    }
    for (const int count : {1, 131}) {
      DecodeSoftScores(scores.data(), count, mask.data(), -4, 43);
      EXPECT_EQ(mask[static_cast<size_t>(count - 1)], c.mask) << int{c.background} << ", " << int{c.foreground};
    }
  }
}

TEST(MaskKernels, EqualScoresAreBackground) {
  const std::vector<uint8_t> foreground = {0, 1, 0, 200, 255, 128, 127, 0};
  const std::vector<uint8_t> background = {0, 0, 1, 199, 255, 127, 128, 255};
  std::vector<uint8_t> mask(8);
  CompareScores(foreground.data(), background.data(), 8, mask.data());
  EXPECT_EQ(mask, (std::vector<uint8_t>{0, 255, 0, 255, 0, 255, 0, 0}));
}

TEST(MaskKernels, ShiftUpLeftKeepsTheLastRowAndColumn) {
  std::vector<uint8_t> plane = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  ShiftUpLeft(plane.data(), 3, 3);
  EXPECT_EQ(plane, (std::vector<uint8_t>{5, 6, 3, 8, 9, 6, 7, 8, 9}));
  for (const auto& [width, height] : {std::pair{1, 9}, std::pair{9, 1}, std::pair{0, 0}}) {
    const std::vector<uint8_t> before = plane;
    ShiftUpLeft(plane.data(), width, height);
    EXPECT_EQ(plane, before);
  }
}

TEST(MaskKernels, ForegroundStartsAt128) {
  std::vector<uint8_t> mask(100000, 127);
  EXPECT_EQ(CountForeground(mask.data(), 100000), 0);
  mask.assign(100000, 128);
  EXPECT_EQ(CountForeground(mask.data(), 100000), 100000);
  EXPECT_EQ(CountForeground(mask.data(), 0), 0);
}

TEST(MaskKernels, TableMapsEveryByte) {
  std::vector<uint8_t> pixels, table, expected;
  for (int i = 0; i < 256; ++i) {
    pixels.push_back(static_cast<uint8_t>(i * 7));
    table.push_back(static_cast<uint8_t>(255 - i));
    expected.push_back(static_cast<uint8_t>(255 - static_cast<uint8_t>(i * 7)));
  }
  ApplyTable(pixels.data(), 256, table.data());
  EXPECT_EQ(pixels, expected);
}

}  // namespace
}  // namespace pexo
