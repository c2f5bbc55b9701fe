#include "engine/model.h"

#include <utility>

#include "engine/error.h"
#include "engine/graph_check.h"
#include "engine/tflite_reader.h"

namespace pexo::engine {
namespace {

// Grey level i of the small model stands for the logit -20.01 + i * 49.06 / 255.
constexpr double kLowestLogit = -20.01;
constexpr double kLogitRange = 49.06;

const Tensor& TensorAt(const Graph& graph, int32_t index) {
  return graph.tensors[static_cast<size_t>(index)];
}

// The checked graph of a model whose two ends are pictures, the output with one channel.
Graph ReadPictureGraph(const std::vector<uint8_t>& model) {
  Graph graph = ReadTflite(model);
  CheckGraph(graph);
  const Shape& input = TensorAt(graph, graph.input).shape;
  const Shape& output = TensorAt(graph, graph.output).shape;
  Require(input.size() == 4 && input[0] == 1, "the model's input is not one picture");
  Require(output.size() == 4 && output[0] == 1 && output[3] == 1,
          "the model's output is not one picture of one channel");
  return graph;
}

}  // namespace

Graph ReadGraph(const Container& container) {
  Graph graph = ReadPictureGraph(container.model);
  Require(TensorAt(graph, graph.input).name == container.input_name, "the model's input is not called \"",
          container.input_name, "\"");
  Require(TensorAt(graph, graph.output).name == container.output_name, "the model's output is not called \"",
          container.output_name, "\"");
  if (container.head.kind == HeadKind::kLogitGrey) DropFinalLogistic(graph);
  FoldClamps(graph);
  return graph;
}

Container MakeContainer(std::vector<uint8_t> model, HeadKind head) {
  const Graph graph = ReadPictureGraph(model);
  Container container{.input_name = TensorAt(graph, graph.input).name,
                      .output_name = TensorAt(graph, graph.output).name,
                      .transform = {.scale = 1.0 / 255.0, .offset = 0.0},
                      .head = {.kind = head},
                      .model = std::move(model)};
  Require(!container.input_name.empty() && !container.output_name.empty(), "the model's input or output has no name");
  if (head == HeadKind::kLogitGrey) {
    container.head.lowest = kLowestLogit;
    container.head.range = kLogitRange;
  }
  ReadGraph(container);
  return container;
}

}  // namespace pexo::engine
