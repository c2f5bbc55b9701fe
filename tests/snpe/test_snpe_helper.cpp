// SPDX-License-Identifier: Apache-2.0
// What the engine is asked and given, and what its answers and failures turn into.
#include "snpe/snpe_helper.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/fake_snpe.h"
#include "tests/support/log_lines.h"

namespace pexo {
namespace {

using fake::Engine;
using Bytes = std::vector<uint8_t>;

TEST(SnpeHelper, BuildsOnTheRuntimeAskedForOrElseOnTheCpu) {
  for (const std::set<int>& runtimes : {std::set{2}, {}}) {
    fake::SetEngine({.runtimes = runtimes});  // the CPU is not asked for again
    EXPECT_NE(snpe_helper(2, "m.dlc").snpe, nullptr);
    EXPECT_NE(snpe_helper(2, Bytes(1234)).snpe, nullptr);
    EXPECT_EQ(fake::Misuses(), 0);
  }
}

TEST(SnpeHelper, ListsFiveRuntimesAndNeverTheSixth) {
  fake::SetEngine({.runtimes = {0, 1, 2, 3, 4, 5, 6}});
  const std::set<std::string> names(RuntimeNameTable, RuntimeNameTable + 5);
  EXPECT_EQ(snpe_helper::GetAvailableRuntimes(), (std::set{0, 1, 2, 3, 4}));
  EXPECT_EQ(snpe_helper::GetAvailableRuntimeNames(), names);
  fake::SetEngine({.runtimes = {2}});
  EXPECT_EQ(snpe_helper::GetAvailableRuntimeNames(), std::set<std::string>{"DSP_FIXED8_TF"});
}

// Two grey pixels in, a second input that nobody reads; their scores out, and the first green over the first of them.
const Engine kTwoPixels{.inputs = {{"in", {1, 1, 2, 3}}, {"more", {1, 0, 2}}},
                        .outputs = {{"out", {1, 1, 2, 2}}, {"first", {1, 1}}}};
const Bytes kPixels{10, 20, 30, 40, 50, 60};

TEST(SnpeHelper, ExecuteBindsBytesThatStandForThemselves) {
  SetEngine(kTwoPixels);
  snpe_helper helper(0, "m.dlc");
  Bytes scores(8, 7);
  EXPECT_TRUE(helper.Execute(kPixels.data(), scores.data(), 6, 4));
  EXPECT_EQ(scores, (Bytes{20, 20, 205, 50, 7, 7, 7, 7}));  // both outputs in one block
  Engine engine = kTwoPixels;
  engine.makes_buffers = false;
  SetEngine(engine);
  EXPECT_TRUE(helper.Execute(kPixels.data(), scores.data(), 3, 2));  // shorter: kept buffers
  SetEngine(kTwoPixels);
  EXPECT_TRUE(helper.Execute(kPixels.data(), scores.data(), 6, 8));  // longer: the rest of the output is 0
  EXPECT_EQ(scores, (Bytes{20, 20, 205, 50, 0, 0, 0, 0}));
  engine.succeeds = false;
  SetEngine(engine);
  EXPECT_FALSE(helper.Execute(kPixels.data(), scores.data(), 6, 4));  // no scores of an earlier frame either
  EXPECT_EQ(scores, Bytes(8));
  EXPECT_FALSE(helper.Execute(kPixels.data(), scores.data(), -1, 4));
  EXPECT_FALSE(helper.Execute(kPixels.data(), scores.data(), 6, -1));
}

TEST(SnpeHelper, VariantsBindOneBufferForEachTensor) {
  SetEngine(kTwoPixels);
  snpe_helper helper(0, "m.dlc");
  TensorBytes byte_inputs{{"in", kPixels}}, byte_outputs;
  EXPECT_TRUE(helper.ExecuteTensors(byte_inputs, byte_outputs));
  EXPECT_EQ(byte_inputs, (TensorBytes{{"in", kPixels}, {"more", {0, 0}}}));
  EXPECT_EQ(byte_outputs, (TensorBytes{{"out", {235, 20, 205, 50}}, {"first", {20}}}));

  TensorFloats inputs, outputs;
  EXPECT_TRUE(helper.ExecuteTensors(inputs, outputs));
  EXPECT_TRUE(helper.ExecuteCallerTensors(inputs, outputs));
  outputs["out"].resize(3);
  EXPECT_FALSE(helper.ExecuteCallerTensors(inputs, outputs));
  outputs.erase("out");
  EXPECT_THROW(helper.ExecuteCallerTensors(inputs, outputs), std::out_of_range);
}

TEST(SnpeHelper, ExecuteAnswersWhatTheEngineAnswers) {
  const Bytes untouched(4, 7);
  const struct {
    const char* name;
    void (*change)(Engine&);
    bool answer;
    Bytes output;
  } cases[] = {
      {"fails", [](Engine& e) { e.succeeds = false; }, false, Bytes(4)},
      {"no names", [](Engine& e) { e.has_names = false; }, true, untouched},
      {"no attributes", [](Engine& e) { e.has_attributes = false; }, true, untouched},
      {"no buffers", [](Engine& e) { e.makes_buffers = false; }, false, untouched},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    SetEngine(kTwoPixels);
    snpe_helper helper(0, "m.dlc");
    Engine engine = kTwoPixels;
    each.change(engine);
    SetEngine(engine);
    Bytes scores = untouched;
    EXPECT_EQ(helper.Execute(kPixels.data(), scores.data(), 6, 4), each.answer);
    EXPECT_EQ(scores, each.output);
    TensorBytes inputs, outputs;
    EXPECT_EQ(helper.ExecuteTensors(inputs, outputs), each.answer);

    SetEngine(kTwoPixels);  // the engine comes round, and so does the helper
    EXPECT_TRUE(helper.Execute(kPixels.data(), scores.data(), 6, 4));
    EXPECT_EQ(scores, (Bytes{20, 20, 205, 50}));
  }
}

}  // namespace
}  // namespace pexo
