// SPDX-License-Identifier: Apache-2.0
// One frame: validation in its order, the mask view to the byte, and what all effects have in common.
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "api/handle.h"
#include "snpe/snpe_network.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/handle.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

using test::Handle;
using test::TestImage;

// A handle that is ready on the fake engine.
struct Ready : Handle {
  explicit Ready(int32_t effect, const fake::Engine& engine = {}, const std::string& model = test::kAnyModel)
      : Handle(effect, model) {
    SetEngine(engine);
    EXPECT_EQ(Init(), 0);
  }
};

TEST(Process, RefusesInTheDocumentedOrder) {
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
      {false, 3, 8, 7, 0, 0, true, 3, {odd}},
      {false, 3, 7, 8, 7, 8, true, 3, {odd}},
      {false, 3, -3, 2, 0, 0, true, 3, {odd}},
      {false, 3, 8, 8, 8, 8, true, 2, {}},
      {true, 4, 8, 8, 0, 0, true, 4, {}},
      {true, 0, 8, 8, 0, 0, false, 4, {}},
      {true, 4, 0, 8, 0, 0, true, 5, {}},  // the working image comes before the effect
      {true, 3, -2, -2, 0, 0, true, 5, {}},
      {true, 3, 65536, 65536, 0, 0, true, 5, {}},
      {true, 2, 8, 8, 0, 0, false, 3, {"Image has no pixels!"}},
      {true, 1, 12, 8, 0, 0, true, 3, {"Please make sure the width of input 12 can be divided by 8!"}},
      {true, 3, 8, 8, 8, 8, true, 0, {}},
  };
  Handle uninitialised(3);
  Ready ready(3);
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    Handle& handle = each.initialised ? ready : uninitialised;
    handle.Set(PARAM_EFFECT_MODE, each.effect);
    TestImage frame(16, 16);
    QmxImage image = frame, mask{};
    image.width = each.width;
    image.height = each.height;
    if (!each.has_planes) image.plane[0] = image.plane[1] = nullptr;
    mask.width = each.mask_width;
    mask.height = each.mask_height;
    const auto run = [&] { EXPECT_EQ(handle.Process(image, each.mask_width > 0 ? &mask : nullptr), each.status); };
    EXPECT_EQ(LogLines(run), each.lines);
    EXPECT_EQ(frame == TestImage(16, 16), each.status != 0);
  }
  TestImage frame(8, 8);
  EXPECT_EQ(pexoHumanBodySegProcess(nullptr, &frame, nullptr), 2);
  EXPECT_EQ(pexoHumanBodySegProcess(ready.record, nullptr, nullptr), 2);
}

// The mask is that of the network alone; models of one channel shape it. Formats and strides are not looked at.
TEST(Process, MaskViewShowsTheMaskAndNothingElse) {
  const std::tuple<std::string, uint32_t, Lines> models[] = {
      {"Portrait", 2, {}},
      {"Portrait", 1, {"Min/Max sigmoid value = -1.00/1.00"}},
      {"MoviePortraitSmall", 1, {"Min/Max sigmoid value = -20.01/29.05"}}};
  for (const auto& [file, channels, lines] : models) {
    const std::string path = testing::TempDir() + file + std::to_string(::getpid());
    std::ofstream(path).flush();
    Ready handle(3, {.outputs = {{"out", {1, 12, 12, channels}}}}, path);
    SnpeNetwork network(path);
    network.Init();
    for (const auto& [width, height] : {std::pair{640, 480}, {8, 8}, {2, 2}, {34, 6}}) {
      FrameParams params{.rotation = width == 34 ? 90u : 0u, .layout_mode = width == 8 ? 1u : 0u};
      handle.Set(PARAM_ROTATION, static_cast<int32_t>(params.rotation));
      handle.Set(PARAM_LAYOUT_MODE, static_cast<int32_t>(params.layout_mode));
      TestImage frame = TestImage::Noise(width, height, 1), mask(width, height, kFormatGray8);
      const TestImage argument = TestImage::Noise(width, height, 2, kFormatGray8), unchanged(argument);
      network.Process(frame, params, mask);
      frame.format = width;
      frame.stride[0] = frame.stride[1] = height == 8 ? 0 : 1000;
      const auto run = [&] { EXPECT_EQ(handle.Process(frame, &argument), 0); };
      EXPECT_EQ(LogLines(run), width == 640 ? lines : Lines{});
      EXPECT_EQ(frame.pixels[0], mask.pixels[0]) << file << ", width " << width;
      EXPECT_EQ(frame.pixels[1], test::Pixels(frame.pixels[1].size(), 128));
      EXPECT_EQ(argument, unchanged);
    }
    std::filesystem::remove(path);
  }
}

TEST(Process, FailuresAreOfOneFrame) {
  Ready handle(3);
  for (const auto& [engine, status] : {std::pair{fake::Engine{.succeeds = false}, 2},
                                       {{.throws = true}, 5},
                                       {{.prediction_time = std::chrono::milliseconds(2)}, 0}}) {
    SetEngine(engine);
    TestImage frame = TestImage::Noise(16, 16, 1);
    EXPECT_EQ(handle.Process(frame), status);
    EXPECT_EQ(frame == TestImage::Noise(16, 16, 1), status != 0);
    EXPECT_EQ(pexoHumanBodyGetExecuteTime(handle.record) >= 2.0f, status == 0);
  }
}

// Another effect without another Init: the pipeline of effect 2 has no mask to show for its first frames.
TEST(Process, ShowsNoMaskThatNobodyWrote) {
  mallopt(M_PERTURB, 0x55);
  Ready handle(2);
  handle.Set(PARAM_EFFECT_MODE, 3);
  for (int i = 0; i < 2; ++i) {
    TestImage frame = TestImage::Noise(16, 16, 1);
    EXPECT_EQ(handle.Process(frame), 0);
    EXPECT_EQ(frame.pixels[0], test::Pixels(256));
  }
  mallopt(M_PERTURB, 0);
}

// Whatever the frame: all of the mask is person, and this is the share that is measured.
struct GivenNetwork : Network {
  explicit GivenNetwork(float given) : share(given) {}
  int32_t Uninit() override { return kNetworkOk; }
  int32_t Predict() override { return kNetworkOk; }
  int32_t Process(QmxImage& /*frame*/, FrameParams& params, QmxImage& output) override {
    params.foreground_fraction = share;
    std::memset(output.plane[0], 255, 64);
    return kNetworkOk;
  }
  const float share;
};

// What becomes of chroma 0: '+' kept, but for a level, '-' grey. Presence is one state for the process: handles come
// and go, it stays.
char ColourOf(int32_t direction, float share) {
  Handle handle(HUMANBODYSEG_EFFECT_COLOUR);
  handle->network = std::make_unique<GivenNetwork>(share);
  handle.Set(PARAM_CAMERA_DIRECTION, direction);
  TestImage frame(8, 8);
  EXPECT_EQ(handle.Process(frame), 0);
  return frame.pixels[1] == test::Pixels(32, 1) ? '+' : frame.pixels[1] == test::Pixels(32, 128) ? '-' : '?';
}

TEST(Process, ColourStaysWhileSomebodyIsThere) {
  const std::string nobody = "-------", somebody = "------+", obvious = "+++++++";
  // Compared in double: 0.12f and 0.24f lie below the constants, 0.05f and 0.1f above.
  const struct {
    int32_t direction;
    float share;
    std::string colours;  // of seven frames, after seven without anybody
  } cases[] = {{0, 0.0f, nobody},     {0, 0.12f, nobody},   {0, 0.125f, somebody}, {0, 0.24f, somebody},
               {0, 0.2401f, obvious}, {1, 0.0499f, nobody}, {1, 0.05f, somebody},  {1, 0.0999f, somebody},
               {1, 0.1f, obvious},    {7, 0.04f, nobody},   {7, 0.11f, obvious},   {-1, 0.0f, somebody},
               {-1, 1.0f, somebody}};
  for (const auto& [direction, share, expected] : cases) {
    std::string colours;
    for (int i = 0; i < 14; ++i) colours += i < 7 ? ColourOf(0, 0.0f) : ColourOf(direction, share);
    EXPECT_EQ(colours.substr(7), expected) << direction << ", " << share;
  }
  // A decision is kept on the seventh frame that brings it; one frame short of it, and it starts all over again.
  std::string colours;
  for (const char frame : std::string("PPPPPPPPaaaaaaPaaaaaaaaPaPaPaPaPaPaPaPa")) {
    colours += ColourOf(0, frame == 'P' ? 0.2f : 0.1f);
  }
  EXPECT_EQ(colours, "+++++++++++++++++++++------------------");
}

}  // namespace
}  // namespace pexo
