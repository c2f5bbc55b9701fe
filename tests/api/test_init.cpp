// SPDX-License-Identifier: Apache-2.0
// Init: which network it builds, what it logs and answers, and what stays with the handle.
#include <gtest/gtest.h>

#include "api/handle.h"
#include "pipeline/multiply_thread_network.h"
#include "pipeline/sequence_thread_network.h"
#include "snpe/snpe_network.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/handle.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

using fake::Engine;
using test::TestImage;

constexpr char kDefaultPath[] = "/vendor/camera3rd/qmx/MoviePortraitBig.dlc";
const std::string kModel = test::kAnyModel;

// The effect that a network is built for; 0 for none.
int32_t EffectOf(const Network* network) {
  if (dynamic_cast<const MultiplyThreadNetwork*>(network) != nullptr) return 1;
  if (dynamic_cast<const SequenceThreadNetwork*>(network) != nullptr) return 2;
  return dynamic_cast<const SnpeNetwork*>(network) != nullptr ? 3 : 0;
}

Engine Model(std::vector<size_t> input, std::vector<size_t> output) {
  return {.runtimes = {0, 2}, .inputs = {{"in", std::move(input)}}, .outputs = {{"out", std::move(output)}}};
}

TEST(Init, BuildsByEffectAndDirection) {
  const Engine works{.runtimes = {0, 2}}, cannot_build{.runtimes = {2}, .builds = false};
  const std::string size = "DLC size = 8 * 8 * 3 -> 8 * 8 * 2", exit = "Exit pexoHumanBodySegInit!",
                    direction = "Unsupported CameraDirection param!", effect = "Unsupported EffectMode param!",
                    fallback = kModel + " Runtime is not supported, use CPU mode!",
                    not_built = "zdl::SNPE::SNPEBuilder build failed.", not_opened = "Fail to open snpe model!",
                    not_found = "Fail to locate model path [";
  const struct {
    Engine engine;
    int32_t effect, direction;
    std::string path;
    int32_t status;
    Lines lines;  // after the two that all have
    int32_t network;
    std::string path_after = path;
  } cases[] = {
      {works, 0, 0, kModel, 4, {effect}, 0},
      {works, 4, -1, kModel, 4, {effect}, 0},  // the direction of an unknown effect is not looked at
      {works, 1, 0, kModel, 0, {size, exit}, 1},
      {works, 2, 1, kModel, 0, {size, exit}, 2},
      {works, 3, INT32_MAX, kModel, 0, {size, exit}, 3},
      {works, 1, -1, "", 3, {direction}, 1},  // the pipeline stays, before the path is looked at
      {works, 2, INT32_MIN, "", 3, {direction}, 2},
      {works, 3, -1, kModel, 3, {direction}, 0},
      {{}, 1, 1, "", 2, {not_found + kDefaultPath + "]", exit}, 1, kDefaultPath},
      {{}, 2, 0, "", 2, {not_found + kDefaultPath + "]", exit}, 2, kDefaultPath},
      {{}, 3, 0, "", 2, {not_found + "]", exit}, 0},
      {{}, 3, 0, "/no/where", 2, {not_found + "/no/where]", exit}, 0},
      {cannot_build, 1, 0, kModel, 2, {not_built, "cannot build", not_opened, exit}, 1},
      {cannot_build, 2, 0, kModel, 2, {not_built, "cannot build", not_opened, exit}, 2},
      {cannot_build, 3, 0, kModel, 2, {not_built, "cannot build", not_opened, exit}, 0},
      {{}, 3, 0, kModel, 0, {fallback, size, exit}, 3},
      {{.opens = false}, 3, 0, kModel, 2, {fallback, not_built, "cannot open", not_opened, exit}, 0},
      {{.runtimes = {2}, .has_names = false}, 3, 0, kModel, 2, {not_opened, exit}, 0},
      {{.runtimes = {2}, .has_attributes = false}, 3, 0, kModel, 2, {not_opened, exit}, 0},
      {{.runtimes = {2}, .outputs = {}}, 3, 0, kModel, 2, {not_opened, exit}, 0},
      {Model({8, 8, 3}, {1, 8, 8, 2}), 3, 0, kModel, 2, {not_opened, exit}, 0},
      {Model({7, 6, 4, 3, 5}, {9, 3, 2, 1, 5}), 3, 0, kModel, 0, {"DLC size = 6 * 4 * 3 -> 3 * 2 * 1", exit}, 3},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    SetEngine(each.engine);
    test::Handle handle(each.effect, each.path);
    handle.Set(PARAM_CAMERA_DIRECTION, each.direction);
    Lines lines{"Enter pexoHumanBodySegInit!", "Camera direction = " + std::to_string(each.direction) +
                                                   ", effect mode = " + std::to_string(each.effect)};
    lines.insert(lines.end(), each.lines.begin(), each.lines.end());
    EXPECT_EQ(LogLines([&] { EXPECT_EQ(handle.Init(), each.status); }), lines);
    EXPECT_EQ(EffectOf(handle->network.get()), each.network);
    EXPECT_EQ(handle->model_path, each.path_after);
    if (each.network != 0) {
      EXPECT_EQ(LogLines([&] { handle.Uninit(); }),
                (Lines{"Enter pexoHumanBodySegUninit!", "Exit pexoHumanBodySegUninit!"}));
    }
    EXPECT_EQ(handle->network, nullptr);
    handle.Init();  // and again; a pipeline without its model takes frames and hands them on as they were
    std::vector<TestImage> frames;
    for (int32_t i = 0; i < 4; ++i) {
      frames.push_back(TestImage::Noise(16, 16, static_cast<uint32_t>(i)));
      for (uint8_t& chroma : frames.back().pixels[1]) chroma |= 1;  // the colour effect never leaves chroma 0
      TestImage frame(frames.back());
      EXPECT_EQ(handle.Process(frame), each.network == 0 || each.status == 3 ? 2 : 0);
      const auto back = static_cast<size_t>(i < each.network ? i : i - each.network);
      EXPECT_TRUE(each.status != 2 || frame == frames[back]) << i;
    }
  }
}

}  // namespace
}  // namespace pexo
