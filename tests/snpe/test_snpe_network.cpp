// The network on the engine: loading a model, and a frame through it.
#include "snpe/snpe_network.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/fake_snpe.h"
#include "tests/support/log_lines.h"
#include "tests/support/model_file.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

using fake::Engine;
using Bytes = std::vector<uint8_t>;

Engine Model(std::vector<size_t> input, std::vector<size_t> output) {
  return {.runtimes = {0, 2}, .inputs = {{"in", std::move(input)}}, .outputs = {{"out", std::move(output)}}};
}

TEST(SnpeNetwork, InitSaysWhatIsWrong) {
  const ModelFile file("model.dlc");
  const std::string fallback = file.path() + " Runtime is not supported, use CPU mode!";
  const std::string not_built = "zdl::SNPE::SNPEBuilder build failed.", not_opened = "Fail to open snpe model!";
  const struct {
    Engine engine;
    int32_t status;
    Lines log;
  } cases[] = {
      {Model({1, 6, 4, 3}, {1, 3, 2, 2}), 0, {"DLC size = 6 * 4 * 3 -> 3 * 2 * 2"}},
      {Model({7, 6, 4, 3, 5}, {9, 3, 2, 1, 5}), 0, {"DLC size = 6 * 4 * 3 -> 3 * 2 * 1"}},  // dimensions 1 to 3
      {{}, 0, {fallback, "DLC size = 8 * 8 * 3 -> 8 * 8 * 2"}},
      {{.opens = false}, 2, {fallback, not_built, not_opened}},
      {{.runtimes = {2}, .builds = false}, 2, {not_built, not_opened}},
      {{.runtimes = {2}, .has_names = false}, 2, {not_opened}},
      {{.runtimes = {2}, .has_attributes = false}, 2, {not_opened}},
      {{.runtimes = {2}, .outputs = {}}, 2, {not_opened}},
      {Model({8, 8, 3}, {1, 8, 8, 2}), 2, {not_opened}},
      {Model({1, 8, 8, 3}, {8, 8, 2}), 2, {not_opened}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    SetEngine(each.engine);
    SnpeNetwork network(file.path());
    EXPECT_EQ(LogLines([&] { EXPECT_EQ(network.Init(), each.status); }), each.log);
    if (each.status != 0) {
      EXPECT_EQ(network.Predict(), 2);
    }
  }
}

TEST(SnpeNetwork, MissingFileFailsBeforeTheEngineIsAsked) {
  for (const std::string path : {"", "/nowhere/MoviePortraitSmall.dlc"}) {
    fake::SetEngine({});
    SnpeNetwork network(path);
    EXPECT_EQ(LogLines([&] { EXPECT_EQ(network.Init(), 2); }), Lines{"Fail to locate model path [" + path + "]"});
    EXPECT_EQ(fake::Calls(), std::vector<std::string>{});
    EXPECT_EQ(network.sigmoid_min, -1.0f);
    EXPECT_EQ(network.engine, nullptr);
    EXPECT_EQ(network.Predict(), 2);
    EXPECT_EQ(network.Uninit(), 0);
  }
}

TEST(SnpeNetwork, SmallModelIsKnownByItsPath) {
  const std::pair<const char*, bool> cases[] = {{"MoviePortraitSmall.dlc", true}, {"MoviePortraitSmall", true},
                                                {"a.MoviePortraitSmall.b", true}, {"MoviePortraitSmall/Big.dlc", true},
                                                {"MoviePortraitBig.dlc", false},  {"movieportraitsmall.dlc", false},
                                                {"oviePortraitSmall.dlc", false}};
  for (const auto& [name, is_small] : cases) {
    for (const bool builds : {true, false}) {
      SCOPED_TRACE(name);
      fake::SetEngine({.builds = builds});
      const ModelFile file(name);
      SnpeNetwork network(file.path());
      EXPECT_EQ(network.Init(), builds ? 0 : 2);
      EXPECT_EQ(network.sigmoid_min, is_small ? -20.01f : -1.0f);
      EXPECT_EQ(network.sigmoid_max, is_small ? 29.05f : 1.0f);
    }
  }
}

TEST(SnpeNetwork, BuffersFollowTheModelAndAreMadeAnew) {
  const ModelFile file("model.dlc");
  SnpeNetwork network(file.path());
  const struct {
    std::vector<size_t> input, output;
    size_t input_bytes, output_bytes, mask_bytes;
  } cases[] = {{{1, 6, 4, 3}, {1, 3, 2, 2}, 72, 12, 6},
               {{1, 2, 2, 3}, {1, 4, 4, 1}, 12, 32, 16},  // two bytes a pixel for one channel too
               {{1, 0, 4, 3}, {1, 0, 2, 2}, 0, 0, 0}};
  for (const auto& each : cases) {
    SetEngine(Model(each.input, each.output));
    ASSERT_EQ(network.Init(), 0);
    EXPECT_EQ(network.input_buffer, Bytes(each.input_bytes));
    EXPECT_EQ(network.output_buffer, Bytes(each.output_bytes));
    EXPECT_EQ(network.mask_buffer, Bytes(each.mask_bytes));
    std::fill(network.input_buffer.begin(), network.input_buffer.end(), uint8_t{1});
    // A frame of a model without pixels must not crash either.
    TestImage frame(8, 8, 18), output(8, 8, 9);
    FrameParams params;
    EXPECT_EQ(network.Process(frame, params, output), 0);
  }
}

TEST(SnpeNetwork, InputOfOtherThanThreeChannelsStaysInsideTheImage) {
  const ModelFile file("model.dlc");
  SnpeNetwork network(file.path());
  for (const size_t channels : {1, 4}) {
    SetEngine(Model({1, 8, 8, channels}, {1, 8, 8, 2}));
    ASSERT_EQ(network.Init(), 0);
    TestImage frame(8, 8, 18), output(8, 8, 9);
    FrameParams params;
    EXPECT_EQ(network.Process(frame.Fill(130), params, output), 0);
    EXPECT_EQ(network.input_buffer.size(), 64 * channels);
  }
}

TEST(SnpeNetwork, PredictPassesTheEnginesAnswerOn) {
  const ModelFile file("model.dlc");
  fake::SetEngine({});
  SnpeNetwork network(file.path());
  ASSERT_EQ(network.Init(), 0);
  TestImage model_image(8, 8, 2);
  ASSERT_EQ(network.SetInput(model_image.Fill(130)), 0);
  EXPECT_EQ(network.input_buffer, model_image.bytes);
  fake::SetEngine({.succeeds = false});
  EXPECT_EQ(network.Predict(), 2);
  EXPECT_EQ(Bytes(network.output_buffer.begin(), network.output_buffer.begin() + 2), (Bytes{125, 130}));
  fake::SetEngine({.has_names = false});  // the buffers are bound already
  EXPECT_EQ(network.Predict(), 0);
  fake::SetEngine({.throws = true});
  EXPECT_THROW(network.Predict(), std::runtime_error);
}

TEST(SnpeNetwork, FrameComesThroughInEitherLayout) {
  const ModelFile file("model.dlc");
  SetEngine(Model({1, 8, 8, 3}, {1, 4, 4, 2}));
  SnpeNetwork network(file.path());
  ASSERT_EQ(network.Init(), 0);
  // Grey level g has the scores 255 - g and g: d = 2 g - 255.
  const struct {
    uint32_t layout;
    uint8_t grey, mask;
    float fraction;
  } cases[] = {{0, 130, 142, 1}, {0, 126, 32, 0}, {0, 200, 255, 1}, {1, 130, 255, 1}, {1, 127, 0, 0}, {0, 149, 255, 1}};
  for (const auto& each : cases) {
    TestImage frame(16, 12, 18), output(16, 12, 9);
    frame.Fill(128);
    std::fill_n(frame.plane[0], 16 * 12, each.grey);
    FrameParams params{.layout_mode = each.layout};
    ASSERT_EQ(network.Process(frame, params, output), 0);
    EXPECT_EQ(output.bytes, Bytes(output.bytes.size(), each.mask)) << int{each.grey};
    EXPECT_EQ(params.foreground_fraction, each.fraction);
    EXPECT_GT(network.GetExecuteTime(), 0.0f);
  }
}

}  // namespace
}  // namespace pexo
