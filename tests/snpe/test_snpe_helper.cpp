// Runtime choice, the builder's settings and the tensors' shapes, against an engine that can fail in every way.
#include <gtest/gtest.h>

#include <memory>

#include "snpe/snpe_helper.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/log_lines.h"
#include "tests/support/silence.h"

namespace pexo {
namespace {

using fake::Engine;

constexpr int32_t kDsp = 2;

Lines BuildCalls(int asked, int built, const std::string& source) {
  return {"isRuntimeAvailable " + std::to_string(asked),
          "open " + source,
          "SNPEBuilder",
          "setOutputLayers 0",
          "setRuntimeProcessor " + std::to_string(built),
          "setPlatformConfig \"\"",
          "setUseUserSuppliedBuffers 1",
          "setInitCacheMode 1",
          "build"};
}

TEST(SnpeHelper, BuildsOnTheRuntimeAskedForOrElseOnTheCpu) {
  const std::string fallback_line = "m.dlc Runtime is not supported, use CPU mode!";
  const std::string failed_line = "zdl::SNPE::SNPEBuilder build failed.";
  const struct {
    Engine engine;
    int32_t runtime;
    int built_on;
    Lines log;
    bool has_network;
  } cases[] = {
      {{.runtimes = {0, 2}}, kDsp, 2, {}, true},
      {{.runtimes = {0}}, kDsp, 0, {fallback_line}, true},
      {{.runtimes = {}}, kDsp, 0, {fallback_line}, true},  // the CPU is not asked for again
      {{.runtimes = {5}}, 5, 5, {}, true},
      {{.runtimes = {2}, .opens = false}, kDsp, 2, {failed_line}, false},
      {{.builds = false}, kDsp, 0, {fallback_line, failed_line}, false},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    SetEngine(each.engine);
    std::shared_ptr<snpe_helper> helper;
    EXPECT_EQ(LogLines([&] { helper = std::make_shared<snpe_helper>(each.runtime, "m.dlc"); }), each.log);
    EXPECT_EQ(fake::Calls(), BuildCalls(each.runtime, each.built_on, "m.dlc"));
    EXPECT_EQ(helper->snpe != nullptr, each.has_network);
    EXPECT_EQ(helper->model_path, "m.dlc");

    SetEngine(each.engine);
    helper.reset();
    Lines released;
    if (each.has_network) released.push_back("~SNPE");  // before the container that it was built from
    if (each.engine.opens) released.push_back("~IDlContainer");
    EXPECT_EQ(fake::Calls(), released);
  }
}

TEST(SnpeHelper, BuildsTheSameFromAModelInMemory) {
  fake::SetEngine({.runtimes = {0, 2}});
  const snpe_helper helper(kDsp, std::vector<uint8_t>(1234));
  EXPECT_EQ(fake::Calls(), BuildCalls(2, 2, "1234"));
  EXPECT_NE(helper.snpe, nullptr);
  EXPECT_EQ(helper.model_path, "");
}

TEST(SnpeHelper, IsSilentBelowLogLevelOne) {
  fake::SetEngine({.builds = false});
  const Silence silence;
  EXPECT_EQ(LogLines([] { snpe_helper(kDsp, "m.dlc"); }), Lines{});
}

TEST(SnpeHelper, ListsFiveRuntimesAndNeverTheSixth) {
  const struct {
    std::set<int> available;
    std::set<int32_t> runtimes;
    std::set<std::string> names;
  } cases[] = {
      {{}, {}, {}},
      {{0, 2}, {0, 2}, {"CPU_FLOAT32", "DSP_FIXED8_TF"}},
      {{0, 1, 2, 3, 4, 5, 6},
       {0, 1, 2, 3, 4},
       {"CPU_FLOAT32", "GPU_FLOAT32_16_HYBRID", "DSP_FIXED8_TF", "GPU_FLOAT16", "CPU_FIXED8_TF"}},
  };
  for (const auto& each : cases) {
    fake::SetEngine({.runtimes = each.available});
    EXPECT_EQ(snpe_helper::GetAvailableRuntimes(), each.runtimes);
    EXPECT_EQ(snpe_helper::GetAvailableRuntimeNames(), each.names);
  }
  EXPECT_STREQ(RuntimeNameTable[5], "AIP_FIXED8_TF");
}

TEST(SnpeHelper, GivesEveryTensorsShape) {
  fake::SetEngine(
      {.inputs = {{"a", {1, 4, 6, 3}}, {"b", {2, 2}}}, .outputs = {{"c", {1, 2, 3, 2}}, {"d", {1, 0, 3, 1}}}});
  const snpe_helper helper(kDsp, "m.dlc");
  EXPECT_EQ(helper.GetInputTensorShapes(), (TensorShapes{{"a", {1, 4, 6, 3}}, {"b", {2, 2}}}));
  EXPECT_EQ(helper.GetOutputTensorShapes(), (TensorShapes{{"c", {1, 2, 3, 2}}, {"d", {1, 0, 3, 1}}}));
  for (const Engine& engine : {Engine{.has_names = false}, Engine{.has_attributes = false}}) {
    SetEngine(engine);
    EXPECT_TRUE(helper.GetInputTensorShapes().empty());
    EXPECT_TRUE(helper.GetOutputTensorShapes().empty());
  }
}

}  // namespace
}  // namespace pexo
