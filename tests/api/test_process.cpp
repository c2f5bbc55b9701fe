// One frame: validation in its order, and the mask view to the byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "api/handle.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/frames.h"
#include "tests/support/log_lines.h"
#include "tests/support/model_file.h"
#include "tests/support/silence.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

using test::Frame;

class ProcessEntry : public ::testing::Test {
 protected:
  void SetUp() override { fake::SetEngine({}); }
  void TearDown() override {
    pexoHumanBodySegUninit(handle);
    pexoHumanBodySegDestroy(handle);
  }
  void Set(int32_t key, int32_t value) { pexoHumanBodySegSetParam(handle, key, &value); }
  void InitMaskView(const ModelFile& file) {
    pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_MODEL_PATH, file.path().c_str());
    Set(HUMANBODYSEG_PARAM_EFFECT_MODE, 3);
    ASSERT_EQ(pexoHumanBodySegInit(handle), 0);
  }
  int32_t Process(QmxImage& frame, const QmxImage* mask = nullptr) {
    return pexoHumanBodySegProcess(handle, &frame, mask);
  }

  const Silence silence;
  HumanBodySegHandle* const handle = pexoHumanBodySegCreate();
  const ModelFile model{"model.dlc"};
};

TEST_F(ProcessEntry, RefusesInTheDocumentedOrder) {
  const std::string sizes_differ = "Please make sure the size between input image and mask is identical!";
  const std::string odd = "Please make sure input size can be divided by 2!";
  const struct {
    bool initialised;
    int32_t effect, width, height, mask_width, mask_height;  // mask_width 0: no mask
    bool has_planes;
    int32_t status;
    Lines lines;
  } cases[] = {
      {false, 3, 7, 7, 8, 7, true, 3, {sizes_differ}},
      {false, 3, 7, 7, 7, 8, true, 3, {sizes_differ}},
      {false, 3, 640, 481, 0, 0, true, 3, {odd}},
      {false, 3, 641, 480, 641, 480, true, 3, {odd}},
      {false, 3, -3, 2, 0, 0, true, 3, {odd}},
      {false, 3, 8, 8, 8, 8, true, 2, {}},
      {true, 4, 8, 8, 0, 0, true, 4, {}},
      {true, 0, 8, 8, 0, 0, false, 4, {}},
      {true, 4, 0, 8, 0, 0, true, 5, {}},  // the working image comes before the effect
      {true, 3, 8, 0, 0, 0, true, 5, {}},
      {true, 3, -2, -2, 0, 0, true, 5, {}},
      {true, 3, 65536, 65536, 0, 0, true, 5, {}},
      {true, 3, 8, 8, 0, 0, false, 3, {"Image has no pixels!"}},
      {true, 2, 8, 8, 0, 0, false, 3, {"Image has no pixels!"}},
      {true, 3, 8, 8, 8, 8, true, 0, {}},
  };
  InitMaskView(model);
  Network* const network = handle->network;
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    handle->network = each.initialised ? network : nullptr;
    Set(HUMANBODYSEG_PARAM_EFFECT_MODE, each.effect);
    Frame frame(8, 8);
    frame.image().width = each.width;
    frame.image().height = each.height;
    if (!each.has_planes) frame.image().plane[0] = frame.image().plane[1] = nullptr;
    QmxImage mask{};
    mask.width = each.mask_width;
    mask.height = each.mask_height;
    log_level = 1;
    EXPECT_EQ(LogLines([&] { EXPECT_EQ(Process(frame.image(), each.mask_width > 0 ? &mask : nullptr), each.status); }),
              each.lines);
    log_level = 0;
    if (each.status != 0) {
      EXPECT_EQ(frame.pixels(), std::vector<uint8_t>(96, 0));
    }
  }
  handle->network = network;
  Frame frame(8, 8);
  EXPECT_EQ(pexoHumanBodySegProcess(nullptr, &frame.image(), nullptr), 2);
  EXPECT_EQ(pexoHumanBodySegProcess(handle, nullptr, nullptr), 2);
}

// The fake engine's scores are 255 - green and green; its output is as large as its input.
std::vector<uint8_t> MaskOf(const Frame& frame, uint32_t layout, int32_t channels) {
  TestImage small(8, 8, 18), rgb(8, 8, 2), mask(8, 8, 9), scaled(frame.image().width, frame.image().height, 9);
  qmxResize(&frame.image(), &small, 2);
  qmxColorNV21toRGB888u8(&small, &rgb);
  for (size_t i = 0; i < 64; ++i) {
    const int green = rgb.bytes[3 * i + 1], d = 2 * green - 255;
    const int soft = d <= 0 ? 32 * (std::max(d, -4) + 4) : 255 - (43 - std::min(d, 43)) * 128 / 43;
    mask.bytes[i] = static_cast<uint8_t>(channels == 1 ? green : layout == 0 ? soft : green > 127 ? 255 : 0);
  }
  qmxResize(&mask, &scaled, 2);
  return scaled.bytes;
}

TEST_F(ProcessEntry, MaskViewShowsTheMaskAndNothingElse) {
  InitMaskView(model);
  const struct {
    int32_t width, height, rotation;
  } cases[] = {{640, 480, 0}, {8, 8, 0}, {2, 2, 0}, {34, 6, 90}, {64, 48, 180}, {64, 48, 270}, {64, 48, 45}};
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << each.width << "x" << each.height << " by " << each.rotation);
    Set(HUMANBODYSEG_PARAM_ROTATION, each.rotation);  // turned there and back: this engine does not mind
    Frame frame = Frame::Noise(each.width, each.height, 1);
    // About the level where the mask changes, and so little colour that green stays in range.
    for (uint8_t& byte : frame.pixels()) byte = static_cast<uint8_t>(120 + byte % 32);
    const std::vector<uint8_t> mask = MaskOf(frame, 0, 2);
    std::vector<uint8_t> expected(frame.pixels().size(), 128);
    std::copy(mask.begin(), mask.end(), expected.begin());
    TestImage argument(each.width, each.height, 9);
    ASSERT_EQ(Process(frame.image(), &argument.Fill(55)), 0);
    EXPECT_EQ(frame.pixels(), expected);
    EXPECT_EQ(argument.bytes, std::vector<uint8_t>(argument.bytes.size(), 55));
    EXPECT_GT(pexoHumanBodyGetExecuteTime(handle), 0.0f);
  }
}

TEST_F(ProcessEntry, SmallModelIsShapedByItsTable) {
  const ModelFile small("MoviePortraitSmall.dlc");
  fake::SetEngine({.outputs = {{"out", {1, 8, 8, 1}}}});
  InitMaskView(small);
  Frame frame = Frame::Noise(64, 48, 3);
  for (uint8_t& byte : frame.pixels()) byte = static_cast<uint8_t>(96 + byte % 64);
  const std::vector<uint8_t> grey = MaskOf(frame, 0, 1);
  log_level = 1;
  EXPECT_EQ(LogLines([&] { ASSERT_EQ(Process(frame.image()), 0); }), Lines{"Min/Max sigmoid value = -20.01/29.05"});
  log_level = 0;
  for (size_t i = 0; i < grey.size(); ++i) {
    const double level = 255 / (1 + std::exp(20.01 - grey[i] * 49.06 / 255));
    ASSERT_NEAR(frame.pixels()[i], level, 0.501) << int{grey[i]};
  }
}

TEST_F(ProcessEntry, ParametersWorkFromFrameToFrame) {
  InitMaskView(model);
  for (const int32_t layout : {1, 0, 1}) {
    Set(HUMANBODYSEG_PARAM_LAYOUT_MODE, layout);
    Frame frame(8, 8);
    std::fill(frame.pixels().begin(), frame.pixels().end(), uint8_t{128});
    const std::vector<uint8_t> mask = MaskOf(frame, static_cast<uint32_t>(layout), 2);
    ASSERT_EQ(Process(frame.image()), 0);
    EXPECT_TRUE(std::equal(mask.begin(), mask.end(), frame.pixels().begin())) << layout;
  }
  // Another effect without another Init: its way out with the network that is there. Effect 2 leaves the frame to it.
  Set(HUMANBODYSEG_PARAM_EFFECT_MODE, 2);
  Frame frame = Frame::Noise(16, 16, 1);
  const std::vector<uint8_t> before = frame.pixels();
  EXPECT_EQ(Process(frame.image()), 0);
  EXPECT_EQ(frame.pixels(), before);
}

TEST_F(ProcessEntry, PassesFailuresOn) {
  InitMaskView(model);
  const std::pair<fake::Engine, int32_t> cases[] = {{{}, 0}, {{.succeeds = false}, 2}, {{.throws = true}, 5}, {{}, 0}};
  for (const auto& [engine, status] : cases) {
    SetEngine(engine);
    const float time = pexoHumanBodyGetExecuteTime(handle);
    Frame frame = Frame::Noise(16, 16, 1);
    const std::vector<uint8_t> before = frame.pixels();
    EXPECT_EQ(Process(frame.image()), status);
    if (status == 0) continue;
    EXPECT_EQ(frame.pixels(), before);
    EXPECT_EQ(pexoHumanBodyGetExecuteTime(handle), time);
  }
}

// A pipeline whose Init failed stays with the handle; frames must not bring it down.
TEST_F(ProcessEntry, SurvivesPipelinesThatAreNotReady) {
  for (const int32_t effect : {1, 2}) {
    for (const int32_t direction : {0, -1}) {
      Set(HUMANBODYSEG_PARAM_EFFECT_MODE, effect);
      Set(HUMANBODYSEG_PARAM_CAMERA_DIRECTION, direction);
      pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_MODEL_PATH, "/no/where");
      EXPECT_EQ(pexoHumanBodySegInit(handle), direction < 0 ? 3 : 2);
      for (int i = 0; i < 4; ++i) {
        Frame frame = Frame::Noise(16, 16, 1);
        EXPECT_EQ(Process(frame.image()), direction < 0 ? 2 : 0);
      }
      pexoHumanBodySegUninit(handle);
    }
  }
}

}  // namespace
}  // namespace pexo
