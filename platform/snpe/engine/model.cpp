// SPDX-License-Identifier: Apache-2.0
#include "engine/model.h"

#include <string>
#include <utility>

#include "engine/error.h"
#include "engine/graph_check.h"
#include "engine/graph_cost.h"
#include "engine/graph_rewrite.h"
#include "engine/tflite_reader.h"

namespace pexo::engine {
namespace {

// Grey level i of the small model stands for the logit -20.01 + i * 49.06 / 255.
constexpr double kLowestLogit = -20.01;
constexpr double kLogitRange = 49.06;

const Tensor& TensorAt(const Graph& graph, int32_t index) {
  return graph.tensors[static_cast<size_t>(index)];
}

// The checked graph of a model from one RGB picture to one of one channel. The library scales frames with subsampled
// chroma to the input's size before it makes RGB of them, so that size must be even.
Graph ReadPictureGraph(const std::vector<uint8_t>& model) {
  Graph graph = ReadTflite(model);
  const Shape& input = TensorAt(graph, graph.input).shape;
  const Shape& output = TensorAt(graph, graph.output).shape;
  Require(input.size() == 4 && input[0] == 1, "the model's input is not one picture");
  Require(input[3] == 3, "the model's input has ", std::to_string(input[3]), " channels instead of 3");
  Require(input[1] % 2 == 0 && input[2] % 2 == 0, "the model's input is ", std::to_string(input[1]), " rows by ",
          std::to_string(input[2]), " columns: both must be even");
  Require(output.size() == 4 && output[0] == 1 && output[3] == 1,
          "the model's output is not one picture of one channel");
  CheckGraph(graph);
  return graph;
}

// Callers tell the two ends apart by names that they pass as C strings.
void CheckNames(const Container& container) {
  for (const std::string& name : {container.input_name, container.output_name}) {
    Require(!name.empty(), "the model's input or output has no name");
    Require(name.find('\0') == std::string::npos, "the name of the model's input or output holds a NUL");
  }
  Require(container.input_name != container.output_name, "the model's input and output are both called \"",
          container.input_name, "\"");
}

}  // namespace

void PrepareGraph(Graph& graph, Rewrites rewrites) {
  FoldClamps(graph);
  if (rewrites == Rewrites::kAll) RewriteForSpeed(graph);
  CheckGraph(graph);
  CheckCost(graph);
}

Graph ReadGraph(const Container& container, Rewrites rewrites) {
  CheckNames(container);
  Graph graph = ReadPictureGraph(container.model);
  Require(graph.input_name == container.input_name, "the model's input is not called \"", container.input_name, "\"");
  Require(graph.output_name == container.output_name, "the model's output is not called \"", container.output_name,
          "\"");
  if (container.head.kind == HeadKind::kLogitGrey) DropFinalLogistic(graph);
  PrepareGraph(graph, rewrites);
  return graph;
}

Container MakeContainer(std::vector<uint8_t> model, HeadKind head) {
  const Graph graph = ReadPictureGraph(model);
  Container container{.input_name = graph.input_name,
                      .output_name = graph.output_name,
                      .transform = {.scale = 1.0 / 255.0, .offset = 0.0},
                      .head = {.kind = head},
                      .model = std::move(model)};
  if (head == HeadKind::kLogitGrey) {
    container.head.lowest = kLowestLogit;
    container.head.range = kLogitRange;
  }
  ReadGraph(container);
  return container;
}

}  // namespace pexo::engine
