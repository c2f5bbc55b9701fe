// Execute and its variants: what reaches the engine, what comes back, and what failures do.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "snpe/snpe_helper.h"
#include "tests/support/fake_snpe.h"

namespace pexo {
namespace {

using fake::Engine;
using Bytes = std::vector<uint8_t>;
using Floats = std::vector<float>;
using Calls = std::vector<std::string>;

// Two grey pixels side by side in, their scores out.
const Engine kTwoPixels{.inputs = {{"in", {1, 1, 2, 3}}}, .outputs = {{"out", {1, 1, 2, 2}}}};
const Bytes kPixels{10, 20, 30, 40, 50, 60};
const Bytes kScores{235, 20, 205, 50};

Engine With(Engine engine, void (*change)(Engine&)) {
  change(engine);
  return engine;
}

TEST(SnpeExecute, StridesAndSizesOfBuffers) {
  using Shape = std::vector<size_t>;
  const struct {
    Shape shape, byte_strides;
    size_t elements;
  } cases[] = {
      {{1, 2, 4, 3}, {24, 12, 3, 1}, 24}, {{}, {}, 0}, {{5}, {1}, 5}, {{2, 3}, {3, 1}, 6},
      {{1, 0, 4, 3}, {0, 12, 3, 1}, 12},  // a 0 counts as 1 in the size and as 0 in the strides
      {{2, 5, 0}, {0, 0, 1}, 10},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(DenseStrides(each.shape, 1), each.byte_strides);
    EXPECT_EQ(BufferElements(each.shape), each.elements);
  }
  EXPECT_EQ(DenseStrides(Shape{2, 4, 3}, 4), (Shape{48, 12, 4}));
}

TEST(SnpeExecute, BindsBytesThatStandForThemselvesAndRunsThem) {
  SetEngine(kTwoPixels);
  snpe_helper helper(0, "m.dlc");
  SetEngine(kTwoPixels);
  Bytes scores(4);
  ASSERT_TRUE(helper.Execute(kPixels.data(), scores.data(), 6, 4));
  EXPECT_EQ(scores, kScores);

  // The next frame: the same buffers, other bytes.
  const Bytes white(6, 255);
  ASSERT_TRUE(helper.Execute(white.data(), scores.data(), 6, 4));
  EXPECT_EQ(scores, (Bytes{0, 255, 0, 255}));
  EXPECT_EQ(fake::Executions(), 2);
  EXPECT_EQ(fake::Calls(), (Calls{"createUserBuffer A 6 [6 6 3 1] TF8 0 1", "createUserBuffer B 4 [4 4 2 1] TF8 0 1"}));
}

TEST(SnpeExecute, EveryTensorOfASideSharesItsBlock) {
  const Engine engine{.inputs = {{"a", {1, 1, 2, 3}}, {"b", {1, 1, 1, 3}}},
                      .outputs = {{"c", {1, 1, 2, 2}}, {"d", {1, 1, 1, 1}}}};
  SetEngine(engine);
  snpe_helper helper(0, "m.dlc");
  SetEngine(engine);
  Bytes scores(4);
  EXPECT_TRUE(helper.Execute(kPixels.data(), scores.data(), 6, 4));
  EXPECT_EQ(fake::Calls(), (Calls{"createUserBuffer A 6 [6 6 3 1] TF8 0 1", "createUserBuffer A 3 [3 3 3 1] TF8 0 1",
                                  "createUserBuffer B 4 [4 4 2 1] TF8 0 1", "createUserBuffer B 1 [1 1 1 1] TF8 0 1"}));
  EXPECT_EQ(scores, (Bytes{20, 20, 205, 50}));  // d was written last, over the first byte of c
}

TEST(SnpeExecute, AnswersWhatTheEngineAnswers) {
  const Bytes untouched(4, 7);
  const struct {
    const char* name;
    Engine engine;
    bool answer;
    Bytes output;
  } cases[] = {
      {"fails", With(kTwoPixels, [](Engine& e) { e.succeeds = false; }), false, kScores},
      {"no names", With(kTwoPixels, [](Engine& e) { e.has_names = false; }), true, untouched},
      {"no attributes", With(kTwoPixels, [](Engine& e) { e.has_attributes = false; }), true, untouched},
      {"no buffers", With(kTwoPixels, [](Engine& e) { e.makes_buffers = false; }), false, untouched},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    SetEngine(kTwoPixels);
    snpe_helper helper(0, "m.dlc");
    SetEngine(each.engine);
    Bytes scores = untouched;
    EXPECT_EQ(helper.Execute(kPixels.data(), scores.data(), 6, 4), each.answer);
    EXPECT_EQ(scores, each.output);

    SetEngine(kTwoPixels);  // the engine comes round, and so does the helper
    EXPECT_TRUE(helper.Execute(kPixels.data(), scores.data(), 6, 4));
    EXPECT_EQ(scores, kScores);
  }
}

TEST(SnpeExecute, TakesSizesThatDifferFromTheTensors) {
  SetEngine(kTwoPixels);
  snpe_helper helper(0, "m.dlc");
  Bytes scores(8, 7);
  EXPECT_TRUE(helper.Execute(kPixels.data(), scores.data(), 3, 2));  // shorter: the rest of the input is 0
  EXPECT_EQ(scores, (Bytes{235, 20, 7, 7, 7, 7, 7, 7}));
  EXPECT_TRUE(helper.Execute(kPixels.data(), scores.data(), 6, 8));  // longer: the rest of the output is 0
  EXPECT_EQ(scores, (Bytes{235, 20, 205, 50, 0, 0, 0, 0}));
  EXPECT_FALSE(helper.Execute(kPixels.data(), scores.data(), -1, 4));
  EXPECT_FALSE(helper.Execute(kPixels.data(), scores.data(), 6, -1));
}

TEST(SnpeExecute, NeedsANetworkAndLetsExceptionsThrough) {
  Bytes scores(4);
  fake::SetEngine({.builds = false});
  EXPECT_FALSE(snpe_helper(0, "m.dlc").Execute(kPixels.data(), scores.data(), 6, 4));
  SetEngine(With(kTwoPixels, [](Engine& e) { e.throws = true; }));
  snpe_helper helper(0, "m.dlc");
  EXPECT_THROW(helper.Execute(kPixels.data(), scores.data(), 6, 4), std::runtime_error);
}

TEST(SnpeExecute, VariantsBindOneBufferForEachTensor) {
  const Engine engine{.inputs = {{"in", {1, 1, 2, 3}}, {"more", {1, 1}}}, .outputs = {{"out", {1, 1, 2, 2}}}};
  SetEngine(engine);
  snpe_helper helper(0, "m.dlc");

  SetEngine(engine);
  TensorBytes byte_inputs{{"in", kPixels}}, byte_outputs;
  EXPECT_TRUE(helper.ExecuteTensors(byte_inputs, byte_outputs));
  EXPECT_EQ(byte_inputs, (TensorBytes{{"in", kPixels}, {"more", {0}}}));
  EXPECT_EQ(byte_outputs, (TensorBytes{{"out", kScores}}));
  EXPECT_EQ(fake::Calls(), (Calls{"createUserBuffer A 6 [6 6 3 1] TF8 0 1", "createUserBuffer B 1 [1 1] TF8 0 1",
                                  "createUserBuffer C 4 [4 4 2 1] TF8 0 1"}));

  const Calls float_calls{"createUserBuffer A 24 [24 24 12 4] FLOAT", "createUserBuffer B 4 [4 4] FLOAT",
                          "createUserBuffer C 16 [16 16 8 4] FLOAT"};
  SetEngine(engine);
  TensorFloats float_inputs{{"in", Floats(kPixels.begin(), kPixels.end())}}, float_outputs;
  EXPECT_TRUE(helper.ExecuteTensors(float_inputs, float_outputs));
  EXPECT_EQ(float_outputs, (TensorFloats{{"out", Floats(kScores.begin(), kScores.end())}}));
  EXPECT_EQ(fake::Calls(), float_calls);

  SetEngine(engine);
  float_outputs["out"] = Floats(4);
  EXPECT_TRUE(helper.ExecuteCallerTensors(float_inputs, float_outputs));
  EXPECT_EQ(float_outputs, (TensorFloats{{"out", Floats(kScores.begin(), kScores.end())}}));
  EXPECT_EQ(fake::Calls(), float_calls);
}

TEST(SnpeExecute, VariantsFailAsExecuteDoes) {
  for (const bool succeeds : {true, false}) {
    SetEngine(kTwoPixels);
    snpe_helper helper(0, "m.dlc");
    Engine engine = kTwoPixels;
    engine.succeeds = succeeds;
    SetEngine(engine);
    TensorBytes bytes{{"in", kPixels}}, no_bytes;
    TensorFloats in{{"in", Floats(6)}}, out{{"out", Floats(4)}}, short_out{{"out", Floats(3)}}, none;
    EXPECT_EQ(helper.ExecuteTensors(bytes, no_bytes), succeeds);
    EXPECT_EQ(helper.ExecuteCallerTensors(in, out), succeeds);
    EXPECT_FALSE(helper.ExecuteCallerTensors(in, short_out));
    EXPECT_THROW(helper.ExecuteCallerTensors(none, out), std::out_of_range);
    EXPECT_THROW(helper.ExecuteCallerTensors(in, none), std::out_of_range);
    for (const Engine& nothing : {Engine{.has_names = false}, Engine{.has_attributes = false}}) {
      SetEngine(nothing);
      EXPECT_TRUE(helper.ExecuteTensors(bytes, no_bytes));
      EXPECT_TRUE(helper.ExecuteCallerTensors(none, none));
    }
  }
}

}  // namespace
}  // namespace pexo
