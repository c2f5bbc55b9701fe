// From the engine's mask to the caller's, against a plain form of the same steps.
#include <gtest/gtest.h>

#include <cmath>

#include "network/contrast_table.h"
#include "tests/network/recording_network.h"
#include "tests/support/log_lines.h"
#include "tests/support/qmx_calls.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

using Bytes = std::vector<uint8_t>;

TestImage Resized(const TestImage& source, int32_t width, int32_t height) {
  TestImage result(width, height, 9);
  qmxResize(&source, &result, 2);
  return result;
}

// A square image turned back: where each pixel of the result comes from.
TestImage TurnedBack(const TestImage& source, int32_t back) {
  const auto n = source.width;
  TestImage result(n, n, 9);
  for (int32_t y = 0; y < n; ++y) {
    for (int32_t x = 0; x < n; ++x) {
      const int32_t from_y = back == 90 ? n - 1 - x : back == 270 ? x : back == 180 ? n - 1 - y : y;
      const int32_t from_x = back == 90 ? y : back == 270 ? n - 1 - y : x;
      result.bytes[static_cast<size_t>(y * n + x)] = source.bytes[static_cast<size_t>(from_y * n + from_x)];
    }
  }
  return result;
}

TestImage DoubledAndMoved(const TestImage& source) {
  const TestImage doubled = Resized(source, 2 * source.width, 2 * source.height);
  TestImage result(doubled.width, doubled.height, 9, doubled.bytes);
  const auto n = static_cast<size_t>(doubled.width);
  for (size_t y = 0; y + 1 < n; ++y) {
    for (size_t x = 0; x + 1 < n; ++x) result.bytes[y * n + x] = doubled.bytes[(y + 1) * n + x + 1];
  }
  return result;
}

TEST(PostProcess, TurnsBackAndScales) {
  const std::pair<uint32_t, int32_t> rotations[] = {
      {0, 0},   {90, 270}, {180, 180}, {270, 90},         {360, 0},           {45, 0},         {450, 0}, {540, 0},
      {526, 0}, {630, 0},  {720, 0},   {0xFFFFFFA6u, 90}, {0xFFFFFF4Cu, 180}, {0x80000000u, 0}};
  for (const auto& [rotation, back] : rotations) {
    for (const uint32_t output_side : {6u, 8u}) {  // 8 is the input's
      for (const uint32_t layout_mode : {0u, 1u, 2u}) {
        for (const auto& [width, height] : {std::pair{20, 14}, {12, 12}, {8, 8}}) {
          SCOPED_TRACE(testing::Message() << rotation << ", " << output_side << ", " << layout_mode << ", " << width);
          const int32_t side = layout_mode == 1 ? 8 : static_cast<int32_t>(output_side);
          TestImage mask(side, side, 9);
          mask.Randomise();
          RecordingNetwork network(8, output_side);
          network.mask = mask.bytes;
          TestImage output(width, height, 9);
          FrameParams params{.rotation = rotation, .layout_mode = layout_mode};
          ASSERT_EQ(network.PostProcess(params, output), 0);
          EXPECT_EQ(network.mask_width, side);
          EXPECT_EQ(network.mask_height, side);

          const bool doubles = layout_mode == 0 && output_side != 8;
          const TestImage turned = doubles ? TurnedBack(DoubledAndMoved(mask), back) : TurnedBack(mask, back);
          EXPECT_EQ(output.bytes, Resized(turned, width, height).bytes);
        }
      }
    }
  }
}

TEST(PostProcess, UndoesTheTurnOfPreProcessing) {
  TestImage picture(8, 8, 9);
  picture.Randomise();
  for (const uint32_t rotation : {0u, 90u, 180u, 270u}) {
    TestImage seen(8, 8, 9, picture.bytes), output(8, 8, 9);
    RotateImage(seen, 9, static_cast<int32_t>(rotation));
    RecordingNetwork network(8, 8);
    network.mask = seen.bytes;
    FrameParams params{.rotation = rotation};
    network.PostProcess(params, output);
    EXPECT_EQ(output.bytes, picture.bytes) << rotation;
  }
}

TEST(PostProcess, MeasuresTheForegroundAtModelResolution) {
  const auto first = [](size_t count, uint8_t value) {
    Bytes mask(16);
    std::fill_n(mask.begin(), count, value);
    return mask;
  };
  const std::pair<Bytes, float> cases[] = {
      {Bytes(16, 127), 0.0f}, {Bytes(16, 128), 1.0f}, {first(3, 255), 0.1875f}, {first(1, 128), 0.0625f}, {{}, 0.0f}};
  for (const auto& [mask, fraction] : cases) {
    RecordingNetwork network(8, 4);
    network.mask = mask;
    TestImage output(30, 22, 9);
    FrameParams params;
    network.PostProcess(params, output);
    EXPECT_EQ(params.foreground_fraction, fraction);
  }
  // Rounded once, from two floats.
  RecordingNetwork network(6, 6);
  network.mask = Bytes(7, 255);
  TestImage output(6, 6, 9);
  FrameParams params;
  network.PostProcess(params, output);
  EXPECT_EQ(params.foreground_fraction, 7.0f / 36.0f);
}

TEST(PostProcess, OneChannelMasksKeepTheOutputsSizeInEitherLayout) {
  // The engine writes 8 x 8 bytes although layout 1 asks for a mask of 4 x 4; the first 16 of them count.
  RecordingNetwork network(4, 8, 1);
  network.mask = Bytes(64, 0);
  std::fill_n(network.mask.begin(), 8, uint8_t{255});
  TestImage output(4, 4, 9);
  FrameParams params{.layout_mode = 1};
  ASSERT_EQ(network.PostProcess(params, output), 0);
  EXPECT_EQ(params.foreground_fraction, 0.5f);
  EXPECT_EQ(Bytes(output.bytes.begin() + 8, output.bytes.end()), Bytes(8, 0));
}

TEST(ContrastTable, StretchesTheSigmoid) {
  for (const auto& [low, high] : {std::pair{-1.0f, 1.0f}, {-20.01f, 29.05f}, {-5.0f, 0.0f}}) {
    const std::vector<uint8_t> table = MakeContrastTable(low, high);
    ASSERT_EQ(table.size(), 256u);
    const auto sigmoid = [](double x) { return 1 / (1 + std::exp(-x)); };
    for (size_t i = 0; i < 256; ++i) {
      const double x = low + (static_cast<double>(high) - low) * static_cast<double>(i) / 255;
      const double level = 255 * (sigmoid(x) - sigmoid(low)) / (sigmoid(high) - sigmoid(low));
      EXPECT_NEAR(table[i], level, 0.5001) << i;
    }
    EXPECT_EQ(table[0], 0);
    EXPECT_EQ(table[255], 255);
  }
  // The small model's range, by hand: the logit crosses 0 between levels 104 and 105.
  const std::pair<size_t, int> small_model[] = {{80, 2}, {100, 81}, {103, 115}, {104, 127}, {105, 140}, {120, 244}};
  const std::vector<uint8_t> table = MakeContrastTable(-20.01f, 29.05f);
  for (const auto& [level, value] : small_model) EXPECT_EQ(table[level], value) << level;
}

TEST(ContrastTable, IsMadeOnceForOneChannelModelsOnly) {
  RecordingNetwork two_channels(4, 4, 2), network(4, 4, 1);
  const Bytes grey{0, 50, 100, 103, 104, 105, 110, 255, 1, 2, 3, 4, 5, 6, 7, 8};
  two_channels.mask = network.mask = grey;
  network.sigmoid_min = -20.01f;
  network.sigmoid_max = 29.05f;
  TestImage output(4, 4, 9);
  FrameParams params;
  EXPECT_EQ(LogLines([&] { two_channels.PostProcess(params, output); }), Lines{});
  EXPECT_EQ(output.bytes, grey);
  EXPECT_TRUE(two_channels.contrast_table.empty());

  EXPECT_EQ(LogLines([&] { network.PostProcess(params, output); }), Lines{"Min/Max sigmoid value = -20.01/29.05"});
  const Bytes shaped = output.bytes;
  EXPECT_EQ(shaped[4], 127);
  EXPECT_EQ(shaped[7], 255);
  network.sigmoid_min = -1.0f;
  network.sigmoid_max = 1.0f;
  EXPECT_EQ(LogLines([&] { network.PostProcess(params, output); }), Lines{});
  EXPECT_EQ(output.bytes, shaped);
}

TEST(ContrastTable, IsAppliedToOneRunOfBytesWhateverTheStride) {
  RecordingNetwork network(4, 4, 1);
  network.mask = Bytes(16, 110);
  network.contrast_table.assign(256, 0);
  network.contrast_table[110] = 1;
  network.contrast_table[99] = 2;
  TestImage output(8, 8, 9, 4);
  output.Fill(99);
  FrameParams params;
  network.PostProcess(params, output);
  for (size_t i = 0; i < output.bytes.size(); ++i) {
    const bool is_padding = i % 12 >= 8;
    EXPECT_EQ(output.bytes[i], i < 64 ? (is_padding ? 2 : 1) : (is_padding ? 99 : 110)) << i;
  }
}

TEST(ContrastTable, RemapsAnOutputThatTheMaskCouldNotReach) {
  RecordingNetwork network(4, 4, 1);
  network.mask = Bytes(16, 110);
  network.contrast_table.assign(256, 5);
  TestImage output(4, 4, 2);
  FrameParams params;
  network.PostProcess(params, output.Fill(99));
  EXPECT_EQ(Bytes(output.bytes.begin(), output.bytes.begin() + 16), Bytes(16, 5));
  EXPECT_EQ(Bytes(output.bytes.begin() + 16, output.bytes.end()), Bytes(32, 99));
}

}  // namespace
}  // namespace pexo
