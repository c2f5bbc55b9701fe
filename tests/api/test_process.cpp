// One frame: validation in its order, the mask view to the byte, and what all effects have in common.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <fstream>

#include "api/handle.h"
#include "api/presence.h"
#include "snpe/snpe_network.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/frames.h"
#include "tests/support/handle.h"
#include "tests/support/log_lines.h"

namespace pexo {
namespace {

using test::Frame;
using test::Handle;

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
    Frame frame(16, 16);
    QmxImage image = frame.image(), mask{};
    image.width = each.width;
    image.height = each.height;
    if (!each.has_planes) image.plane[0] = image.plane[1] = nullptr;
    mask.width = each.mask_width;
    mask.height = each.mask_height;
    const auto run = [&] { EXPECT_EQ(handle.Process(image, each.mask_width > 0 ? &mask : nullptr), each.status); };
    EXPECT_EQ(LogLines(run), each.lines);
    EXPECT_EQ(frame.pixels() == Frame(16, 16).pixels(), each.status != 0);
  }
  Frame frame(8, 8);
  EXPECT_EQ(pexoHumanBodySegProcess(nullptr, &frame.image(), nullptr), 2);
  EXPECT_EQ(pexoHumanBodySegProcess(ready.record, nullptr, nullptr), 2);
}

// The mask is that of the network alone; models of one channel shape it. Formats and strides are not looked at.
TEST(Process, MaskViewShowsTheMaskAndNothingElse) {
  const std::tuple<std::string, uint32_t, Lines> models[] = {
      {"Portrait", 2, {}},
      {"Portrait", 1, {"Min/Max sigmoid value = -1.00/1.00"}},
      {"MoviePortraitSmall", 1, {"Min/Max sigmoid value = -20.01/29.05"}}};
  for (const auto& [file, channels, lines] : models) {
    const std::string path = testing::TempDir() + file;
    std::ofstream(path).flush();
    Ready handle(3, {.outputs = {{"out", {1, 4, 4, channels}}}}, path);
    SnpeNetwork network(path);
    network.Init();
    for (const auto& [width, height] : {std::pair{640, 480}, {8, 8}, {2, 2}, {34, 6}}) {
      FrameParams params{.rotation = width == 34 ? 90u : 0u, .layout_mode = width == 8 ? 1u : 0u};
      handle.Set(PARAM_ROTATION, static_cast<int32_t>(params.rotation));
      handle.Set(PARAM_LAYOUT_MODE, static_cast<int32_t>(params.layout_mode));
      Frame frame = Frame::Noise(width, height, 1), mask(width, height, kFormatGray8);
      const Frame argument = Frame::Noise(width, height, 2, kFormatGray8), unchanged(argument);
      network.Process(frame.image(), params, mask.image());
      frame.image().format = width;
      frame.image().stride[0] = frame.image().stride[1] = height == 8 ? 0 : 1000;
      const auto run = [&] { EXPECT_EQ(handle.Process(frame.image(), &argument.image()), 0); };
      EXPECT_EQ(LogLines(run), width == 640 ? lines : Lines{});
      mask.pixels().resize(frame.pixels().size(), 128);
      EXPECT_EQ(frame.pixels(), mask.pixels()) << file << ", width " << width;
      EXPECT_EQ(argument.pixels(), unchanged.pixels());
    }
  }
}

TEST(Process, FailuresAreOfOneFrame) {
  Ready handle(3);
  for (const auto& [engine, status] : {std::pair{fake::Engine{.succeeds = false}, 2},
                                       {{.throws = true}, 5},
                                       {{.prediction_time = std::chrono::milliseconds(2)}, 0}}) {
    SetEngine(engine);
    Frame frame = Frame::Noise(16, 16, 1);
    const Frame before(frame);
    EXPECT_EQ(handle.Process(frame.image()), status);
    EXPECT_EQ(frame.pixels() == before.pixels(), status != 0);
    EXPECT_EQ(pexoHumanBodyGetExecuteTime(handle.record) >= 2.0f, status == 0);
  }
}

// Another effect without another Init: the pipeline of effect 2 has no mask to show for its first frames.
TEST(Process, ShowsNoMaskThatNobodyWrote) {
  mallopt(M_PERTURB, 0x55);
  Ready handle(2);
  handle.Set(PARAM_EFFECT_MODE, 3);
  for (int i = 0; i < 2; ++i) {
    Frame frame = Frame::Noise(16, 16, 1);
    EXPECT_EQ(handle.Process(frame.image()), 0);
    EXPECT_EQ(std::count(frame.pixels().begin(), frame.pixels().begin() + 256, 0), 256);
  }
  mallopt(M_PERTURB, 0);
}

// Whatever the frame: a person whose share of it is `share`, and a mask that has the levels 0 to 255 on its even rows.
struct GivenNetwork : Network {
  explicit GivenNetwork(float given) : share(given) {}
  int32_t Uninit() override { return kNetworkOk; }
  int32_t Predict() override { return kNetworkOk; }
  int32_t Process(QmxImage& /*frame*/, FrameParams& params, QmxImage& output) override {
    params.foreground_fraction = share;
    for (int32_t i = 0; i < 512 * 256; ++i) output.plane[0][i] = static_cast<uint8_t>(i % 512 < 256 ? i / 512 : 77);
    return kNetworkOk;
  }
  const float share;
};

// All pairs of mask and chroma. Presence is one state for the process: handles come and go, it stays.
TEST(Process, ColourFollowsTheMaskWhileSomebodyIsThere) {
  for (int i = 0; i < 8; ++i) SharedPresence().Update(true);
  std::string colour;
  const struct {
    int times, direction;
    float share;
  } runs[] = {{8, 1, 0.06f}, {7, 0, 0.1f}, {1, 0, 0.25f}, {1, 0, 0.2f}, {1, 1, 0.11f}, {1, 1, 0.09f}, {1, -1, 0.9f}};
  for (const auto& [times, direction, share] : runs) {
    for (int time = 0; time < times; ++time) {
      Handle handle(HUMANBODYSEG_EFFECT_COLOUR);
      handle->network = std::make_unique<GivenNetwork>(share);
      handle.Set(PARAM_CAMERA_DIRECTION, direction);
      Frame frame(256, 512);
      std::vector<uint8_t> chroma(65536), grey(65536, 128);
      for (size_t i = 0; i < 65536; ++i) {
        const size_t c = i % 256, m = i / 256;
        frame.pixels()[2 * 65536 + i] = static_cast<uint8_t>(c);
        chroma[i] = static_cast<uint8_t>((128 * (255 - m) + c * m) / 256 + 1);
      }
      EXPECT_EQ(handle.Process(frame.image()), 0);
      frame.pixels().erase(frame.pixels().begin(), frame.pixels().begin() + 2 * 65536);
      colour += frame.pixels() == chroma ? '+' : frame.pixels() == grey ? '-' : '?';
    }
  }
  EXPECT_EQ(colour, "++++++++++++++-+-+--");
}

}  // namespace
}  // namespace pexo
