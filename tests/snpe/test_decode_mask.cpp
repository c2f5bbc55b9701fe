// From pairs of scores to masks.
#include "snpe/decode_mask.h"

#include <gtest/gtest.h>

#include "snpe/snpe_network.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr float kThreshold = 0.36f;

struct Decoder : SnpeNetwork {
  Decoder(uint32_t layout, uint32_t out_width, uint32_t out_height, uint32_t channels = 2, uint32_t in_width = 0,
          uint32_t in_height = 0)
      : SnpeNetwork("") {
    layout_mode = layout;
    output_width = out_width;
    output_height = out_height;
    output_channels = channels;
    input_width = in_width;
    input_height = in_height;
  }
  Bytes Decode(const Bytes& scores, size_t mask_bytes, float threshold = kThreshold) const {
    Bytes mask(mask_bytes, 99);
    DecodeMask(*this, scores.data(), mask.data(), threshold);
    return mask;
  }
};

// One pixel for every pair of scores with the difference d.
uint8_t Soft(int d, float threshold = kThreshold) {
  Bytes scores;
  for (int background = std::max(0, -d); background <= std::min(255, 255 - d); ++background) {
    scores.push_back(static_cast<uint8_t>(background));
    scores.push_back(static_cast<uint8_t>(background + d));
  }
  const auto pixels = static_cast<uint32_t>(scores.size() / 2);
  const Bytes mask = Decoder(0, pixels, 1).Decode(scores, pixels, threshold);
  EXPECT_EQ(mask, Bytes(pixels, mask[0])) << "pairs of the difference " << d << " differ";
  return mask[0];
}

TEST(DecodeMask, SoftMaskFollowsTheDifferenceOfTheScores) {
  for (int d = -255; d <= 255; ++d) {
    const int expected = d <= -4 ? 0 : d <= 0 ? 32 * (d + 4) : d >= 43 ? 255 : 255 - (43 - d) * 128 / 43;
    EXPECT_EQ(Soft(d), expected) << d;
  }
  EXPECT_EQ(Soft(1), 130);
  EXPECT_EQ(Soft(42), 253);
}

TEST(DecodeMask, SoftMaskWithOtherThresholds) {
  const struct {
    float threshold;
    int d, value;  // 99: nothing is written
  } cases[] = {
      {1.0f, -12, 0},   {1.0f, -6, 64},    {1.0f, 60, 191}, {1.0f, 120, 255}, {0.084f, -1, 0},
      {0.084f, 0, 128}, {0.084f, 10, 255}, {0.083f, 5, 99},  // the range ends in -0.996: truncated to 0
      {0.008f, 5, 99},  {0.0f, 5, 99},     {-0.36f, 5, 99},
  };
  for (const auto& each : cases) EXPECT_EQ(Soft(each.d, each.threshold), each.value) << each.threshold << " " << each.d;
}

// The documented steps, on two planes taken apart by hand.
TestImage ScaledPlane(const Bytes& scores, size_t which, int32_t width, int32_t height, int32_t to_width,
                      int32_t to_height) {
  TestImage plane(width, height, 9), doubled(2 * width, 2 * height, 9), moved(2 * width, 2 * height, 9),
      scaled(to_width, to_height, 9);
  for (size_t i = 0; i < plane.bytes.size(); ++i) plane.bytes[i] = scores[2 * i + which];
  qmxResize(&plane, &doubled, 2);
  for (int32_t y = 0; y < 2 * height; ++y) {
    for (int32_t x = 0; x < 2 * width; ++x) {
      const bool kept = y == 2 * height - 1 || x == 2 * width - 1;
      const int32_t from = kept ? 2 * width * y + x : 2 * width * (y + 1) + x + 1;
      moved.bytes[static_cast<size_t>(2 * width * y + x)] = doubled.bytes[static_cast<size_t>(from)];
    }
  }
  qmxResize(&moved, &scaled, 2);
  return scaled;
}

TEST(DecodeMask, HardMaskComparesThePlanesAtInputSize) {
  const struct {
    int32_t width, height, in_width, in_height;
  } cases[] = {{6, 4, 10, 14}, {4, 4, 8, 8}, {8, 8, 8, 8}, {1, 1, 4, 4}, {16, 12, 5, 7}};
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << each.width << "x" << each.height << " to " << each.in_width);
    const Bytes scores = TestImage(2 * each.width, each.height, 9).Randomise().bytes;
    const Bytes background = ScaledPlane(scores, 0, each.width, each.height, each.in_width, each.in_height).bytes;
    const Bytes foreground = ScaledPlane(scores, 1, each.width, each.height, each.in_width, each.in_height).bytes;
    Bytes expected(background.size());
    for (size_t i = 0; i < expected.size(); ++i) expected[i] = foreground[i] > background[i] ? 255 : 0;
    const Decoder network(1, static_cast<uint32_t>(each.width), static_cast<uint32_t>(each.height), 2,
                          static_cast<uint32_t>(each.in_width), static_cast<uint32_t>(each.in_height));
    EXPECT_EQ(network.Decode(scores, expected.size()), expected);
  }
  const Decoder network(1, 2, 2, 2, 4, 4);
  EXPECT_EQ(network.Decode(Bytes(8, 77), 16), Bytes(16, 0));  // equal scores are background
  EXPECT_EQ(network.Decode({0, 1, 0, 1, 0, 1, 0, 1}, 16), Bytes(16, 255));
  EXPECT_EQ(network.Decode({1, 0, 1, 0, 1, 0, 1, 0}, 16), Bytes(16, 0));
}

TEST(DecodeMask, OneChannelIsTheMaskInEveryLayout) {
  for (const uint32_t layout : {0u, 1u, 2u}) {
    EXPECT_EQ(Decoder(layout, 3, 1, 1, 2, 2).Decode({1, 200, 3, 4, 5, 6}, 6), (Bytes{1, 200, 3, 99, 99, 99}));
  }
}

TEST(DecodeMask, WritesNothingWithoutALayoutOrASize) {
  const Bytes scores(8, 200), untouched(16, 99);
  EXPECT_EQ(Decoder(2, 2, 2).Decode(scores, 16), untouched);
  EXPECT_EQ(Decoder(0xFFFFFFFFu, 2, 2).Decode(scores, 16), untouched);
  for (const uint32_t layout : {0u, 1u}) {
    for (const uint32_t channels : {1u, 2u}) {
      EXPECT_EQ(Decoder(layout, 0, 2, channels, 4, 4).Decode(scores, 16), untouched);
      DecodeMask(Decoder(layout, 2, 2, channels, 4, 4), scores.data(), nullptr, kThreshold);
    }
  }
}

}  // namespace
}  // namespace pexo
