// SPDX-License-Identifier: Apache-2.0
// Damaged models in sound containers: an error, never a crash. What still builds also runs.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>

#include "every_operator.h"
#include "session.h"

namespace pexo::test {
namespace {

// Packs, opens, builds and runs a model. Why it was refused; nothing if it was not.
std::string Refusal(std::vector<uint8_t> model, engine::HeadKind head) {
  const auto container = zdl::DlContainer::IDlContainer::open(Pack(std::move(model), head));
  auto network = Build(container.get());
  if (network == nullptr) return LastError();
  EXPECT_TRUE(Session(std::move(network)).Execute()) << LastError();
  return "";
}

TEST(Mutations, EachRuleBrokenAlone) {
  const struct {
    const char *from, *to, *reason;
  } cases[] = {
      {"subgraphs: [{", "subgraphs: [{ }, {", "exactly one subgraph"},
      {"inputs: [0]", "inputs: [0, 0]", "input: not exactly one"},
      {"\"picture\"", "\"frame\"", "input is not called"},
      {"[1, 6, 12, 3]", "[1, 6, 0, 3]", "dimension below 1"},
      {"[1, 6, 12, 3]", "[1, 1, 6, 12, 3]", "too many dimensions"},
      {"[1, 6, 12, 3]", "[1, 60000, 60000, 3]", "too large"},
      {"[1, 6, 12, 3]", "[2, 6, 12, 3]", "not one picture"},
      {"[1, 6, 12, 3]", "[1, 6, 12, 4]", "4 channels instead of 3"},
      {"[1, 6, 12, 3]", "[1, 6, 11, 3]", "6 rows by 11 columns: both must be even"},
      {"[1, 6, 12, 3]", "[1, 5, 12, 3]", "both must be even"},
      {"[1, 3, 4, 4]", "[1, 3, 5, 4]", "operator 1 (CONV_2D): the output has another shape"},
      {"type: FLOAT16", "type: INT32", "16-bit floats"},
      {"buffer: 3", "buffer: 300", "has no buffer"},
      {"0, 191] }", "0, 0, 191] }", "do not fit its shape"},
      {"RELU }", "MAX_POOL_2D }", "operator 2 (MAX_POOL_2D): not supported"},
      {"RELU }", "5000 }", "operator 2 (5000): not supported"},
      {"\"Convolution2DTransposeBias\"", "\"oth\\ner\"", "operator 15 (CUSTOM \"oth?er\"): not supported"},
      {"opcode_index: 2", "opcode_index: 12", "no operator code"},
      {"inputs: [4]", "inputs: [27]", "out of range"},
      {"inputs: [4]", "inputs: [-1]", "missing"},
      {"inputs: [4]", "inputs: [4, 4]", "number of inputs"},
      {"outputs: [5]", "outputs: []", "output: not exactly one"},
      {"inputs: [4]", "inputs: [7]", "before it is written"},
      {"outputs: [5]", "outputs: [4]", "written already"},
      {"inputs: [11]", "inputs: [9]", "result is not used"},
      {"[4, 2, 1, 4]", "[4, 5, 1, 4]", "window is larger"},
      {"inputs: [5, 6]", "inputs: [5, 3]", "filter does not fit"},
      {"inputs: [22, 23, 24]", "inputs: [22, 23, 14]", "bias is no constant"},
      {"[4], buffer: 3", "[2, 2], buffer: 3", "shapes do not fit"},
      {"builtin_options_type: AddOptions, builtin_options: { }", "", "options are missing"},
      {"stride_h: 2", "stride_h: 0", "stride is out of range"},
      {"stride_h: 2", "stride_h: 2, dilation_w: 2", "dilation"},
      {"depth_multiplier: 1", "depth_multiplier: 2", "multiplier"},
      {"padding: SAME", "padding: 2", "unknown padding"},
      {"RELU6", "4", "unknown activation"},
      {"filter_width: 4", "filter_width: 1", "whole picture"},
      {"[254, 255, 255, 255, ", "[", "do not fit its shape"},
      {"type: INT32", "type: FLOAT32", "operand is not of integers"},
      {"[254, 255", "[253, 255", "mean over height and width"},
      {"keep_dims: true", "keep_dims: false", "keep_dims"},
      {"half_pixel_centers: true", "align_corners: true", "half-pixel"},
      {"custom_options: [1", "custom_options: [2", "\"same\" padding"},
      {"custom_options: [1, 0, 0, 0, 1", "custom_options: [1, 0, 0, 0, 2", "as large as the stride"},
      {"opcode_index: 9, inputs: [25]", "opcode_index: 2, inputs: [25]", "not end with a logistic"},
  };
  for (const auto& [from, to, reason] : cases) {
    const std::string refusal = Refusal(EveryOperatorModel(from, to), engine::HeadKind::kLogitGrey);
    EXPECT_NE(refusal.find(reason), std::string::npos) << from << " -> " << to << ": " << refusal;
  }
}

// Small numbers in the file are indices, sizes, options, lengths: those go to near values and to special ones. Every
// tenth time, a byte anywhere changes as well.
TEST(Mutations, AnyModelIsRefusedOrRuns) {
  constexpr uint32_t kSpecial[] = {0, 1, 2, 3, 4, 7, 64, 1000, 65536, 1 << 24, INT32_MAX, 1u << 31, UINT32_MAX};
  const std::vector<uint8_t> model = EveryOperatorModel();
  std::vector<size_t> places;
  uint32_t number;
  for (size_t at = 0; at < model.size(); at += sizeof(number)) {
    std::memcpy(&number, &model[at], sizeof(number));
    if (number > 0 && number < 100) places.push_back(at);
  }
  std::mt19937 random;
  std::map<std::string, int> outcomes;
  for (uint32_t i = 0; i < 10000; ++i) {
    SCOPED_TRACE(i);
    std::vector<uint8_t> changed = model;
    for (uint32_t change = 0; change <= i % 3; ++change) {
      uint8_t* const place = &changed[places[random() % places.size()]];
      std::memcpy(&number, place, sizeof(number));
      number = random() % 2 == 0 ? number + random() % 5 - 2 : kSpecial[random() % std::size(kSpecial)];
      std::memcpy(place, &number, sizeof(number));
    }
    if (i % 10 == 0) changed[random() % changed.size()] = static_cast<uint8_t>(random());
    ++outcomes[Refusal(std::move(changed), static_cast<engine::HeadKind>(i % 2))];
  }
  // Neither is the mutator blunt nor does everything fail at the first check.
  EXPECT_GT(outcomes[""], 300);
  EXPECT_GT(outcomes.size(), 300u);
}

}  // namespace
}  // namespace pexo::test
