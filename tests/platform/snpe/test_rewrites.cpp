// SPDX-License-Identifier: Apache-2.0
// Rewriting for speed: where it is done, where it must not be, and that the results stay.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <span>

#include "engine/bounds.h"
#include "engine/container.h"
#include "engine/graph_check.h"
#include "engine/heads.h"
#include "engine/model.h"
#include "engine/xnn_network.h"
#include "every_operator.h"
#include "graph_builder.h"
#include "session.h"
#include "tests/support/photograph.h"
#include "tests/support/test_image.h"

namespace pexo::test {
namespace {

using engine::Graph;
using engine::Node;
using engine::Rewrites;
using engine::Shape;

// The operations in a row, each with the number of pixels that it reads: "r6 c24" is a resize of 6 pixels, then a
// convolution of 24.
std::string Describe(const Graph& graph) {
  std::string text;
  for (const Node& node : graph.nodes) {
    const Shape& shape = graph.tensors[static_cast<size_t>(node.inputs[0])].shape;
    text += text.empty() ? "" : " ";
    text += GraphBuilder::kLetters[static_cast<size_t>(node.operation)] +
            std::to_string(engine::CountElements(shape, SIZE_MAX) / shape.back());
  }
  return text;
}

using Picture = std::span<const uint8_t>;  // R, G, B, ... row by row

// What the graph makes of a picture: values of -127.5 to 127.5, or the logistic function of them.
std::vector<float> Run(const Graph& graph, Picture picture, bool logits) {
  engine::XnnNetwork network(graph, 1);
  engine::ReadInput(picture, {}, {1.0 / 255.0, 0}, network.Input());
  network.Invoke();
  std::vector<float> result(network.Output().size());
  engine::WriteOutput({network.Output(), network.OutputShape()[2], network.OutputBlock()},
                      {engine::HeadKind::kLogitGrey, -127.5, 255}, result);
  for (float& value : result) value = logits ? 1 / (1 + std::exp(127.5f - value)) : value - 127.5f;
  return result;
}

// Outputs that are close enough cannot give different masks but where a pixel is as close to the limit.
void ExpectSameResults(const Graph& plain, const Graph& rewritten, Picture picture, bool logits) {
  const std::vector<float> expected = Run(plain, picture, logits), actual = Run(rewritten, picture, logits);
  ASSERT_EQ(actual.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) ASSERT_NEAR(actual[i], expected[i], 2e-4) << i;
}

// The graph without and with rewrites, of which the latter looks like this.
std::string Compare(const Graph& graph) {
  Graph plain = graph, rewritten = graph;
  CheckGraph(graph);
  PrepareGraph(plain, Rewrites::kNone);
  PrepareGraph(rewritten, Rewrites::kAll);
  const Shape& input = graph.tensors[static_cast<size_t>(graph.input)].shape;
  const auto bytes = static_cast<int32_t>(engine::CountElements(input, SIZE_MAX));
  ExpectSameResults(plain, rewritten, TestImage::Noise(bytes, 1, 1, QMX_FORMAT_GRAY8).pixels[0], false);
  return Describe(rewritten);
}

TEST(Rewrites, AreDoneWhereTheyAreExact) {
  const struct {
    Shape input;
    const char *before, *after;
  } cases[] = {
      // A square output.
      {{1, 2, 3, 5}, "t1,2x2+", "c6"},
      {{1, 2, 3, 5}, "t1,2x2 k_ s", "c6 s6"},
      {{1, 2, 3, 5}, "t1,2x3", "t6"},
      {{1, 2, 3, 5}, "t1,3x2", "t6"},
      {{1, 2, 3, 5}, "t2,2x2", "t6"},
      {{1, 2, 3, 5}, "t1,2x2 r3x3", "t6 r24"},
      {{1, 4, 6, 5}, "c1,2x2/2x2", "c24"},
      // A convolution before an enlargement.
      {{1, 2, 3, 5}, "r4x6 c4,1x1+", "c6 r6"},
      {{1, 2, 3, 5}, "r3x5 c5,1x1", "c6 r6"},
      {{1, 2, 3, 5}, "r4x6 c6,1x1", "r6 c24"},
      {{1, 2, 3, 5}, "r4x6 c4,1x2", "r6 c24"},
      {{1, 2, 3, 5}, "r4x6 c4,2x1", "r6 c24"},
      {{1, 2, 3, 5}, "r4x6 c4,1x1/1x2", "r6 c24"},
      {{1, 2, 3, 5}, "r4x6 c4,1x1/2x1", "r6 c24"},
      {{1, 2, 3, 5}, "r1x6 c4,1x1", "r6 c6"},
      {{1, 2, 3, 5}, "r4x2 c4,1x1", "r6 c8"},
      {{1, 2, 3, 5}, "r4x6 c4,1x1_", "r6 c24"},
      {{1, 2, 3, 5}, "r4x6 c4,1x1^", "r6 c24"},
      {{1, 2, 3, 5}, "r4x6 c5,1x1 a1", "r6 c24 a24"},
      {{1, 2, 3, 5}, "r4x6 d0,1x1", "r6 d24"},
      {{1, 2, 3, 5}, "h c4,1x1", "h6 c6"},
      // The mean of a sum.
      {{1, 4, 6, 3}, "h a0 p^", "h24 p24 p24 a1"},
      {{1, 4, 6, 3}, "h a0^ p", "h24 a24 p24"},
      {{1, 4, 6, 3}, "h a0_ p", "h24 a24 p24"},
      {{1, 4, 6, 3}, "h a0 p a2", "h24 a24 p24 a1"},
      {{1, 4, 6, 3}, "h m0 p", "h24 m24 p24"},
      {{1, 4, 6, 3}, "A1,4,6,3 p", "a24 p24"},
      {{1, 4, 6, 3}, "A1,4,6,3~ p", "a24 p24"},
      {{1, 4, 6, 3}, "p a0 p", "p24 a1 p24"},
      // The mean of an enlargement.
      {{1, 2, 3, 5}, "r4x6 p a1", "r6 p6 a1"},
      {{1, 2, 3, 5}, "r6x3 p a1", "r6 p6 a1"},
      {{1, 2, 3, 5}, "r5x6 p a1", "r6 p30 a1"},
      {{1, 2, 3, 5}, "r4x7 p a1", "r6 p28 a1"},
      {{1, 2, 3, 5}, "r4x6 p", "r6 p24"},
      {{1, 2, 3, 5}, "h p a1", "h6 p6 a1"},
      // A gate.
      {{1, 4, 6, 3}, "p m0", "p24 r1 m6"},
      {{1, 4, 6, 3}, "p m0~", "p24 r1 m24"},
      {{1, 4, 6, 3}, "M1,1,1,3", "m24"},
      {{1, 4, 6, 3}, "h m0", "h24 m24"},
      {{1, 4, 6, 3}, "p M3", "p24 m1"},
      {{1, 1, 6, 3}, "p m0", "p6 m1"},
      {{1, 4, 1, 3}, "p m0", "p4 m1"},
      {{1, 4, 6, 65}, "p m0", "p24 m1"},
      // A clamp of a convolution's result.
      {{1, 2, 3, 5}, "c4,1x1^ k_", "c6"},
      {{1, 2, 3, 5}, "c4,1x1 k_ a1", "c6 k6 a6"},
      {{1, 2, 3, 5}, "h k_", "h6 k6"},
  };
  for (const auto& [input, before, after] : cases) {
    EXPECT_EQ(Compare(GraphBuilder(input).Add(before).graph), after) << before;
  }
}

TEST(Rewrites, LeaveTheResultsOfEveryModel) {
  for (const char* name : {"Big", "Small", "SmallWide", ""}) {
    SCOPED_TRACE(name);
    for (const engine::HeadKind head : {engine::HeadKind::kTwoScores, engine::HeadKind::kLogitGrey}) {
      engine::Container container = engine::ReadContainer(
          *name == 0 ? Pack(EveryOperatorModel(), head)
                     : engine::ReadFile(std::string(PEXO_MODELS_DIR "/MoviePortrait") + name + ".dlc",
                                        engine::kMaxContainerBytes));
      container.head.kind = head;
      const Graph plain = ReadGraph(container, Rewrites::kNone), rewritten = ReadGraph(container);
      EXPECT_NE(Describe(plain), Describe(rewritten));
      const Shape& input = plain.tensors[static_cast<size_t>(plain.input)].shape;
      ExpectSameResults(plain, rewritten, Photograph(input[2], input[1], "rgb24", 3 * input[1] * input[2]),
                        head == engine::HeadKind::kLogitGrey);
    }
  }
}

// Blocks of the kinds that networks are made of, with a probability at the end.
Graph RandomGraph(uint32_t seed) {
  std::mt19937 random(seed);
  const auto any = [&](size_t count) { return random() % count; };
  const auto number = [&](size_t count) { return std::to_string(1 + any(count)); };
  const auto mark = [&] { return std::array{"", "^", "_", "^_", "+", "+_"}[any(6)]; };
  GraphBuilder graph({1, 2 + any(9), 2 + any(9), 1 + any(9)});
  for (size_t block = 2 + any(6); block-- > 0;) {
    const std::string start = graph.Name();
    const size_t height = graph.OutputShape()[1], width = graph.OutputShape()[2];
    switch (any(6)) {
      case 0:
        graph.Add("c", number(20), ",", number(3), "x", number(3), "/", number(2), "x", number(2), mark());
        break;
      case 1:
        graph.Add(std::array{"h", "s", "k_"}[any(3)]);
        break;
      case 2:
        graph.Add("r", number(2 * height), "x", number(2 * width), " c", number(20), ",1x1", mark());
        break;
      case 3:
        graph.Add("d0,", number(5), "x", number(5), mark(), " a", start, mark());
        break;
      default: {  // what was enlarged, and a skip, gated by the mean of their sum
        graph.Add("r", std::to_string(2 * height), "x", std::to_string(2 * width), " c", number(20), ",1x1", mark());
        const std::string enlarged = graph.Name();
        const std::string skip = graph.Add("h").Name();
        graph.Add("a", enlarged, " p", mark(), " s m", skip);
        if (any(2) == 0) graph.Add("a", enlarged);
      }
    }
    if (graph.OutputShape()[1] > 24 || graph.OutputShape()[2] > 24) graph.Add("r8x7");
  }
  const std::string stride = number(3);
  return graph.Add("t1,", stride, "x", stride, mark(), " s").graph;
}

TEST(Rewrites, LeaveTheResultsOfRandomGraphs) {
  int rewritten_graphs = 0;
  for (uint32_t seed = 0; seed < 1000 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    const Graph graph = RandomGraph(seed);
    rewritten_graphs += Compare(graph) != Describe(graph);
  }
  EXPECT_GT(rewritten_graphs, 500);
}

}  // namespace
}  // namespace pexo::test
