// Init: which network it builds, what it logs and answers, and what stays with the handle.
#include <gtest/gtest.h>

#include <memory>

#include "api/handle.h"
#include "pipeline/multiply_thread_network.h"
#include "pipeline/sequence_thread_network.h"
#include "snpe/snpe_network.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/log_lines.h"
#include "tests/support/model_file.h"
#include "tests/support/silence.h"

namespace pexo {
namespace {

using fake::Engine;

constexpr char kDefaultPath[] = "/vendor/camera3rd/qmx/MoviePortraitBig.dlc";

// The effect that a network is built for; 0 for none.
int32_t EffectOf(const Network* network) {
  if (dynamic_cast<const MultiplyThreadNetwork*>(network) != nullptr) return 1;
  if (dynamic_cast<const SequenceThreadNetwork*>(network) != nullptr) return 2;
  return dynamic_cast<const SnpeNetwork*>(network) != nullptr ? 3 : 0;
}

struct Handle {
  Handle(int32_t effect, int32_t direction, const std::string& path) {
    pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_EFFECT_MODE, &effect);
    pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_CAMERA_DIRECTION, &direction);
    pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_MODEL_PATH, path.c_str());
  }
  ~Handle() {
    if (handle->network != nullptr) pexoHumanBodySegUninit(handle);
    pexoHumanBodySegDestroy(handle);
  }
  HumanBodySegHandle* const handle = pexoHumanBodySegCreate();
};

TEST(Init, BuildsByEffectAndDirection) {
  const ModelFile file("model.dlc");
  const std::string path = file.path();
  const Engine works{.runtimes = {0, 2}}, fails{.runtimes = {2}, .builds = false};
  const std::string size = "DLC size = 8 * 8 * 3 -> 8 * 8 * 2", exit = "Exit pexoHumanBodySegInit!",
                    direction = "Unsupported CameraDirection param!", effect = "Unsupported EffectMode param!",
                    not_built = "zdl::SNPE::SNPEBuilder build failed.", not_opened = "Fail to open snpe model!",
                    not_found = "Fail to locate model path [";
  const struct {
    Engine engine;
    int32_t effect, direction;
    std::string path;
    int32_t status;
    Lines lines;  // after the two that all have
    int32_t network;
    std::string path_after;
  } cases[] = {
      {works, 0, 0, path, 4, {effect}, 0, path},
      {works, 4, 0, path, 4, {effect}, 0, path},
      {works, -1, -1, path, 4, {effect}, 0, path},  // the direction of an unknown effect is not looked at
      {works, 1, 0, path, 0, {size, exit}, 1, path},
      {works, 2, 1, path, 0, {size, exit}, 2, path},
      {works, 3, 0, path, 0, {size, exit}, 3, path},
      {works, 3, INT32_MAX, path, 0, {size, exit}, 3, path},
      {works, 1, -1, "", 3, {direction}, 1, ""},  // the pipeline stays, before the path is looked at
      {works, 2, INT32_MIN, "", 3, {direction}, 2, ""},
      {works, 3, -1, path, 3, {direction}, 0, path},
      {works, 1, 1, "", 2, {not_found + kDefaultPath + "]", exit}, 1, kDefaultPath},
      {works, 2, 0, "", 2, {not_found + kDefaultPath + "]", exit}, 2, kDefaultPath},
      {works, 3, 0, "", 2, {not_found + "]", exit}, 0, ""},
      {works, 1, 0, "/no/where", 2, {not_found + "/no/where]", exit}, 1, "/no/where"},
      {works, 3, 0, "/no/where", 2, {not_found + "/no/where]", exit}, 0, "/no/where"},
      {fails, 1, 0, path, 2, {not_built, not_opened, exit}, 1, path},
      {fails, 2, 0, path, 2, {not_built, not_opened, exit}, 2, path},
      {fails, 3, 0, path, 2, {not_built, not_opened, exit}, 0, path},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    SetEngine(each.engine);
    const Handle owner(each.effect, each.direction, each.path);
    Lines lines{"Enter pexoHumanBodySegInit!", "Camera direction = " + std::to_string(each.direction) +
                                                   ", effect mode = " + std::to_string(each.effect)};
    lines.insert(lines.end(), each.lines.begin(), each.lines.end());
    EXPECT_EQ(LogLines([&] { EXPECT_EQ(pexoHumanBodySegInit(owner.handle), each.status); }), lines);
    EXPECT_EQ(EffectOf(owner.handle->network), each.network);
    EXPECT_EQ(owner.handle->model_path, each.path_after);

    if (each.network == 0) continue;
    EXPECT_EQ(LogLines([&] { pexoHumanBodySegUninit(owner.handle); }),
              (Lines{"Enter pexoHumanBodySegUninit!", "Exit pexoHumanBodySegUninit!"}));
    EXPECT_EQ(owner.handle->network, nullptr);
    EXPECT_EQ(owner.handle->model_path, each.path_after);
    pexoHumanBodySegInit(owner.handle);  // and again
    EXPECT_EQ(EffectOf(owner.handle->network), each.network);
  }
}

TEST(Init, LeavesAnEarlierNetworkBehind) {
  const Silence silence;
  const ModelFile file("model.dlc");
  fake::SetEngine({});
  for (const int32_t effect : {1, 2, 3}) {
    const Handle owner(effect, 0, file.path());
    ASSERT_EQ(pexoHumanBodySegInit(owner.handle), 0);
    const std::unique_ptr<Network> first(owner.handle->network);  // nobody else lets it go
    const int32_t unknown = 9;
    pexoHumanBodySegSetParam(owner.handle, HUMANBODYSEG_PARAM_EFFECT_MODE, &unknown);
    EXPECT_EQ(pexoHumanBodySegInit(owner.handle), 4);
    EXPECT_EQ(owner.handle->network, first.get());
    pexoHumanBodySegSetParam(owner.handle, HUMANBODYSEG_PARAM_EFFECT_MODE, &effect);
    EXPECT_EQ(pexoHumanBodySegInit(owner.handle), 0);
    EXPECT_NE(owner.handle->network, first.get());
    EXPECT_EQ(EffectOf(first.get()), effect);
  }
}

TEST(Init, DestroyLeavesTheNetworkToUninit) {
  const Silence silence;
  const ModelFile file("model.dlc");
  fake::SetEngine({});
  HumanBodySegHandle* const handle = pexoHumanBodySegCreate();
  pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_MODEL_PATH, file.path().c_str());
  handle->effect_mode = 3;
  ASSERT_EQ(pexoHumanBodySegInit(handle), 0);
  const std::unique_ptr<Network> network(handle->network);
  pexoHumanBodySegDestroy(handle);
  EXPECT_EQ(network->Predict(), 0);
}

}  // namespace
}  // namespace pexo
