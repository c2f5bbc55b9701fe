// SPDX-License-Identifier: Apache-2.0
// The network on the engine: its buffers, its failures, and the decoding of its scores.
#include "snpe/snpe_network.h"

#include <gtest/gtest.h>

#include "kernels/kernel_table.h"
#include "snpe/decode_mask.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

using Bytes = test::Pixels;
using test::TestImage;

TEST(SnpeNetwork, BuffersFollowTheModelAndEveryInitMakesThemAnew) {
  SnpeNetwork network("/dev/null");  // the fake opens anything
  const struct {
    std::vector<size_t> input, output;
    size_t input_bytes, output_bytes, mask_bytes;
  } cases[] = {{{1, 6, 4, 3}, {1, 3, 2, 2}, 72, 12, 6},
               {{1, 2, 2, 3}, {1, 4, 4, 1}, 12, 32, 16},  // two bytes a pixel for one channel too
               {{1, 8, 8, 1}, {1, 8, 8, 2}, 64, 128, 64},
               {{1, 8, 8, 4}, {1, 8, 8, 2}, 256, 128, 64},  // more channels than the image has
               {{1, 0, 4, 3}, {1, 0, 2, 2}, 0, 0, 0}};
  for (const auto& each : cases) {
    fake::SetEngine({.inputs = {{"in", each.input}}, .outputs = {{"out", each.output}}});
    ASSERT_EQ(network.Init(), 0);
    EXPECT_EQ(network.input_buffer, std::vector<uint8_t>(each.input_bytes));
    EXPECT_EQ(network.output_buffer, std::vector<uint8_t>(each.output_bytes));
    EXPECT_EQ(network.mask_buffer, std::vector<uint8_t>(each.mask_bytes));
    TestImage frame = TestImage::Noise(8, 8, 1), output(8, 8, kFormatGray8);
    FrameParams params;
    EXPECT_EQ(network.Process(frame, params, output), 0);
  }
}

// The mask of the scores, `mask_pixels` long, which is 99 where nothing is written.
Bytes Decode(const Bytes& scores, size_t mask_pixels, uint32_t layout, int32_t width, int32_t height, uint32_t channels,
             int32_t input_width, int32_t input_height, float threshold = 0.36f) {
  SnpeNetwork network("");
  network.layout_mode = layout;
  network.output_width = static_cast<uint32_t>(width);
  network.output_height = static_cast<uint32_t>(height);
  network.output_channels = channels;
  network.input_width = static_cast<uint32_t>(input_width);
  network.input_height = static_cast<uint32_t>(input_height);
  Bytes mask(mask_pixels, 99);
  DecodeMask(network, scores.data(), mask.data(), threshold);
  return mask;
}

TEST(DecodeMask, SoftMaskTakesItsLimitsFromTheThreshold) {
  const Bytes scores = TestImage::Noise(512, 256, 1, kFormatGray8).pixels[0];
  const struct {
    float threshold;
    int lo, hi;  // 0: nothing is written
  } cases[] = {{0.36f, -4, 43}, {1.0f, -12, 120}, {0.084f, -1, 10}, {0.083f, 0, 9}, {0.008f, 0, 0}, {-0.36f, 0, 0}};
  for (const auto& [threshold, lo, hi] : cases) {
    Bytes expected(65536, 99);
    if (lo < 0) Kernels().decode_soft_scores(scores.data(), 65536, expected.data(), lo, hi);
    EXPECT_EQ(Decode(scores, 65536, 0, 256, 256, 2, 4, 4, threshold), expected) << threshold;
  }
}

TEST(DecodeMask, HardMaskComparesThePlanesAtInputSize) {
  const struct {
    int32_t width, height, input_width, input_height;
  } cases[] = {{6, 4, 10, 14}, {4, 4, 8, 8}, {1, 1, 4, 4}, {16, 12, 5, 7}};
  for (const auto& each : cases) {
    for (const int range : {256, 4, 1}) {  // few levels: equal scores, which are background
      Bytes scores = TestImage::Noise(2 * each.width, each.height, 1, kFormatGray8).pixels[0];
      for (uint8_t& score : scores) score = static_cast<uint8_t>(score % range);
      const auto scaled = [&](size_t which) {
        TestImage plane(each.width, each.height, kFormatGray8);
        for (size_t i = 0; i < plane.pixels[0].size(); ++i) plane.pixels[0][i] = scores[2 * i + which];
        const TestImage moved = DoubledAndMoved(plane);
        TestImage result(each.input_width, each.input_height, kFormatGray8);
        qmxResize(&moved, &result, 2);
        return result.pixels[0];
      };
      const Bytes background = scaled(0), foreground = scaled(1);
      Bytes expected(background.size());
      for (size_t i = 0; i < expected.size(); ++i) expected[i] = foreground[i] > background[i] ? 255 : 0;
      EXPECT_EQ(Decode(scores, expected.size(), 1, each.width, each.height, 2, each.input_width, each.input_height),
                expected);
    }
  }
}

TEST(DecodeMask, OneChannelIsTheMaskAndOtherLayoutsWriteNothing) {
  const Bytes scores{1, 200, 3, 4, 5, 6, 7, 8};
  for (const uint32_t layout : {0u, 1u, 2u}) {
    EXPECT_EQ(Decode(scores, 5, layout, 3, 1, 1, 2, 2), (Bytes{1, 200, 3, 99, 99}));
    EXPECT_EQ(Decode(scores, 4, layout, 0, 2, 2, 2, 2), Bytes(4, 99));
  }
  EXPECT_EQ(Decode(scores, 4, 2, 2, 2, 2, 2, 2), Bytes(4, 99));
}

}  // namespace
}  // namespace pexo
