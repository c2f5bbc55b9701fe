// SPDX-License-Identifier: Apache-2.0
// The frame path that all engines share, against plain forms of its steps.
#include "network/network.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "common/clock.h"
#include "network/contrast_table.h"
#include "tests/support/test_image.h"

namespace pexo::test {
namespace {

// Without an engine: answers as told and keeps what it was given.
struct ToldNetwork : Network {
  ToldNetwork(uint32_t input_side, uint32_t output_side, uint32_t channels = 2) {
    input_height = input_width = input_side;
    output_height = output_width = output_side;
    output_channels = channels;
  }
  int32_t Uninit() override { return kNetworkOk; }
  int32_t SetInput(const QmxImage& image) override {
    model_input.assign(image.plane[0], image.plane[0] + image.stride[0] * image.height);
    return Next('i');
  }
  int32_t Predict() override { return Next('p'); }
  int32_t GetOutput(QmxImage& image) override {
    mask_width = image.width;
    std::copy(mask.begin(), mask.end(), image.plane[0]);
    return Next('o');
  }
  int32_t Next(char stage) { return statuses[(stages += stage).size() - 1]; }

  std::string stages;
  std::vector<int32_t> statuses{0, 0, 0};
  Pixels model_input, mask;
  int32_t mask_width = 0;
};

// Rotations as they are and as RotateImage takes them on the way in and back.
TEST(Network, ProcessTurnsMeasuresTurnsBackScalesAndShapes) {
  const std::tuple<uint32_t, int32_t, int32_t> rotations[] = {
      {0, 0, 0}, {90, 90, 270}, {180, 180, 180}, {270, 270, 90}, {45, 0, 0}, {450, 0, 0}, {0xFFFFFFA6u, 0, 90}};
  const std::vector<uint8_t> curve = MakeContrastTable(-1.0f, 1.0f);
  for (const auto& [rotation, there, back] : rotations) {
    for (const int32_t output_side : {6, 8}) {  // 8 is the input's
      for (const uint32_t layout_mode : {0u, 1u, 2u}) {
        for (const auto& [width, height] : {std::pair{20, 14}, {8, 8}}) {
          SCOPED_TRACE(testing::Message() << rotation << ", " << output_side << ", " << layout_mode << ", " << width);
          TestImage frame = TestImage::Noise(width, height, 1), small(8, 8), model_input(8, 8, kFormatRgb888);
          qmxResize(&frame, &small, 2);
          qmxColorNV21toRGB888u8(&small, &model_input);
          RotateImage(model_input, kFormatRgb888, there);
          const int32_t side = layout_mode == 1 ? 8 : output_side;
          TestImage mask = TestImage::Noise(side, side, rotation, kFormatGray8);
          for (int i = 0; i < 16; ++i) mask.pixels[0][static_cast<size_t>(i)] = static_cast<uint8_t>(127 + i % 2);
          const auto foreground = std::ranges::count_if(mask.pixels[0], [](int m) { return m > 127; });
          TestImage shaped(layout_mode == 0 && output_side != 8 ? DoubledAndMoved(mask) : mask);
          RotateImage(shaped, kFormatGray8, back);
          TestImage output(width, height, kFormatGray8), expected(output);
          qmxResize(&shaped, &expected, 2);
          const uint32_t channels = width == 8 ? 1 : 2;  // the mask of a model with one goes through the curve
          for (uint8_t& level : expected.pixels[0]) level = channels == 1 ? curve[level] : level;

          ToldNetwork network(8, static_cast<uint32_t>(output_side), channels);
          network.mask = mask.pixels[0];
          FrameParams params{.rotation = rotation, .layout_mode = layout_mode};
          ASSERT_EQ(network.Process(frame, params, output), 0);
          EXPECT_EQ(network.model_input, model_input.pixels[0]);
          EXPECT_EQ(network.mask_width, side);
          EXPECT_EQ(output.pixels, expected.pixels);
          EXPECT_EQ(params.foreground_fraction, static_cast<float>(foreground) / static_cast<float>(side * side));
        }
      }
    }
  }
}

TEST(Network, ProcessEndsAtTheFirstPositiveStatus) {
  for (const int32_t set_input : {-3, 0, 3}) {
    for (const int32_t predict : {-7, 0, 7}) {
      for (const int32_t get_output : {-9, 0, 9}) {
        const int32_t result = set_input > 0 ? 3 : predict > 0 ? 7 : get_output != 0 ? 2 : 0;
        ToldNetwork network(8, 4);
        network.mask.assign(16, 200);
        network.statuses = {set_input, predict, get_output};
        network.execute_time = -1.0f;
        TestImage frame(8, 8), output(8, 8, kFormatGray8);
        FrameParams params{.foreground_fraction = -1.0f};
        EXPECT_EQ(network.Process(frame, params, output), result);
        EXPECT_EQ(network.stages, set_input > 0 ? "i" : predict > 0 ? "ip" : "ipo");
        EXPECT_EQ(network.GetExecuteTime() >= 0.0f, set_input <= 0 && predict <= 0);
        // Nothing is written unless the mask could be read.
        EXPECT_EQ(params.foreground_fraction, result == 0 ? 1.0f : -1.0f);
        EXPECT_EQ(output.pixels[0], Pixels(64, result == 0 ? 200 : 0));
      }
    }
  }
  EXPECT_EQ(ElapsedMilliseconds({10, 900000}, {12, 100000}), (-800000.0f / 1e6f + 2.0f) * 1000.0f);
}

TEST(ContrastTable, StretchesTheSigmoid) {
  for (const auto& [low, high] : {std::pair{-1.0f, 1.0f}, {-20.01f, 29.05f}, {-5.0f, 0.0f}}) {
    const std::vector<uint8_t> table = MakeContrastTable(low, high);
    ASSERT_EQ(table.size(), 256u);
    const auto sigmoid = [](double x) { return 1 / (1 + std::exp(-x)); };
    for (size_t i = 0; i < 256; ++i) {
      const double x = low + (static_cast<double>(high) - low) * static_cast<double>(i) / 255;
      EXPECT_NEAR(table[i], 255 * (sigmoid(x) - sigmoid(low)) / (sigmoid(high) - sigmoid(low)), 0.5001) << i;
    }
  }
  EXPECT_EQ(MakeContrastTable(-20.01f, 29.05f)[104], 127);  // the logit crosses 0 between this level and the next
}

}  // namespace
}  // namespace pexo::test
