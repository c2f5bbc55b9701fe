// From the caller's frame to the model's input.
#include <gtest/gtest.h>

#include "tests/network/recording_network.h"
#include "tests/support/qmx_calls.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

using Calls = std::vector<std::string>;

TEST(PreProcess, ResizesThenConvertsThenTurns) {
  const struct {
    int32_t width, height;
    uint32_t rotation;
    int32_t turned_by;  // as RotateImage understands it
    Calls calls;
  } cases[] = {
      {8, 8, 0, 0, {"qmxColorNV21toRGB888u8 8x8"}},  // already of the model's size: copied
      {20, 14, 0, 0, {"qmxResize 20x14 8x8 2", "qmxColorNV21toRGB888u8 8x8"}},
      {8, 6, 90, 90, {"qmxResize 8x6 8x8 2", "qmxColorNV21toRGB888u8 8x8"}},
      {8, 8, 180, 180, {"qmxColorNV21toRGB888u8 8x8"}},
      {8, 8, 270, 270, {"qmxColorNV21toRGB888u8 8x8"}},
      {8, 8, 45, 0, {"qmxColorNV21toRGB888u8 8x8"}},
      {8, 8, 450, 0, {"qmxColorNV21toRGB888u8 8x8"}},
      {8, 8, 0xFFFFFFA6u, 0, {"qmxColorNV21toRGB888u8 8x8"}},  // -90
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << each.width << "x" << each.height << " by " << each.rotation);
    TestImage frame(each.width, each.height, 18);
    frame.Randomise();
    const std::vector<uint8_t> before = frame.bytes;
    TestImage small(8, 8, 18), expected(8, 8, 2);
    qmxResize(&frame, &small, 2);
    qmxColorNV21toRGB888u8(&small, &expected);
    RotateImage(expected, 2, each.turned_by);
    TakeQmxCalls();

    RecordingNetwork network(8, 4);
    EXPECT_EQ(network.PreProcess(frame, {.rotation = each.rotation, .layout_mode = 5, .effect_mode = 6}), 0);
    EXPECT_EQ(TakeQmxCalls(), each.calls);
    EXPECT_EQ(network.model_input_format, 2);
    EXPECT_EQ(network.model_input, expected.bytes);
    EXPECT_EQ(network.layout_mode, 5u);
    EXPECT_EQ(network.effect_mode, 6u);
    EXPECT_EQ(frame.bytes, before);
  }
}

TEST(PreProcess, TakesOtherFormatsOnlyWhereAConversionExists) {
  const struct {
    int32_t format, width;
    bool arrives;
  } cases[] = {{1, 8, true}, {2, 8, true}, {1, 16, false}, {2, 16, false}, {9, 8, false}, {17, 8, false}};
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << each.format << " " << each.width);
    TestImage frame(each.width, 8, each.format);
    frame.Fill(200);
    RecordingNetwork network(8, 4);
    EXPECT_EQ(network.PreProcess(frame, {}), 0);
    // A frame that cannot be converted leaves the model an image of zero luma and chroma.
    std::vector<uint8_t> expected(192, 200);
    if (!each.arrives) {
      TestImage zero(8, 8, 18), rgb(8, 8, 2);
      qmxColorNV21toRGB888u8(&zero, &rgb);
      expected = rgb.bytes;
    }
    ASSERT_EQ(network.model_input.size(), 192u);
    for (size_t i = 0; i < 192; ++i) EXPECT_NEAR(network.model_input[i], expected[i], 1);
  }
}

TEST(PreProcess, AnswersSetInputsStatus) {
  RecordingNetwork network(8, 4);
  for (const int32_t status : {0, 2, -3}) {
    network.set_input_status = status;
    EXPECT_EQ(network.PreProcess(TestImage(8, 8, 18), {}), status);
  }
}

}  // namespace
}  // namespace pexo
