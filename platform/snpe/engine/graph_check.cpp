// SPDX-License-Identifier: Apache-2.0
#include "engine/graph_check.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "engine/bounds.h"
#include "engine/error.h"

namespace pexo::engine {
namespace {

constexpr size_t kNone = static_cast<size_t>(-1);

size_t WindowCount(const Node& node, size_t size, size_t window, size_t stride) {
  if (node.padding == Padding::kSame) return (size + stride - 1) / stride;
  Require(size >= window, node.name, ": the window is larger than its input");
  return (size - window) / stride + 1;
}

class Checker {
 public:
  explicit Checker(const Graph& graph) : graph_(graph) {}

  void Check() {
    CheckTensors();
    CheckOrder();
    CheckUse();
    for (const Node& node : graph_.nodes) {
      Require(ShapeOf(node.output) == InferShape(node), node.name, ": the output has another shape than it should");
    }
  }

 private:
  bool InRange(int32_t index) const { return index >= 0 && static_cast<size_t>(index) < graph_.tensors.size(); }
  const Tensor& TensorAt(int32_t index) const { return graph_.tensors[static_cast<size_t>(index)]; }
  const Shape& ShapeOf(int32_t index) const { return TensorAt(index).shape; }

  void CheckTensors() const {
    Require(graph_.tensors.size() <= kMaxTensors && graph_.nodes.size() <= kMaxNodes, "the graph is too large");
    Require(!graph_.nodes.empty(), "the graph has no nodes");
    Require(InRange(graph_.input) && InRange(graph_.output), "the graph's input or output is out of range");
    size_t activation_elements = 0;
    for (size_t i = 0; i < graph_.tensors.size(); ++i) {
      const Tensor& tensor = graph_.tensors[i];
      const size_t elements = CountElements(tensor.shape, kMaxElements);
      Require(tensor.shape.size() <= kMaxRank && elements > 0, "tensor ", std::to_string(i), " is empty or too large");
      if (tensor.constant) {
        Require(tensor.values.size() >= elements, "tensor ", std::to_string(i), " has too few values");
      } else {
        activation_elements += elements;
      }
    }
    Require(activation_elements <= kMaxActivationElements, "the graph's results are too large");
  }

  // Every operand exists by the time it is read, and nothing is written twice.
  void CheckOrder() {
    producer_.assign(graph_.tensors.size(), kNone);
    std::vector<bool> ready(graph_.tensors.size());
    for (size_t i = 0; i < ready.size(); ++i) ready[i] = graph_.tensors[i].constant;
    Require(!TensorAt(graph_.input).constant, "the graph's input is a constant");
    ready[static_cast<size_t>(graph_.input)] = true;

    for (size_t i = 0; i < graph_.nodes.size(); ++i) {
      const Node& node = graph_.nodes[i];
      for (const int32_t input : node.inputs) {
        if (input == kAbsent) continue;
        Require(InRange(input), node.name, ": an operand is out of range");
        Require(ready[static_cast<size_t>(input)], node.name, ": an operand is read before it is written");
      }
      Require(InRange(node.output), node.name, ": the output is out of range");
      const auto output = static_cast<size_t>(node.output);
      Require(!ready[output], node.name, ": the output is written already");
      ready[output] = true;
      producer_[output] = i;
    }
    Require(producer_[static_cast<size_t>(graph_.output)] != kNone, "no node writes the graph's output");
  }

  // Whatever is computed serves the output, and so does the input.
  void CheckUse() const {
    std::vector<bool> needed(graph_.tensors.size());
    needed[static_cast<size_t>(graph_.output)] = true;
    for (size_t i = graph_.nodes.size(); i-- > 0;) {
      const Node& node = graph_.nodes[i];
      Require(needed[static_cast<size_t>(node.output)], node.name, ": its result is not used");
      for (const int32_t input : node.inputs) {
        if (input != kAbsent) needed[static_cast<size_t>(input)] = true;
      }
    }
    Require(needed[static_cast<size_t>(graph_.input)], "the graph's input is not used");
  }

  Shape InferShape(const Node& node) const {
    Require(!std::isnan(node.min) && !std::isnan(node.max) && node.min < node.max, node.name, ": the bounds are empty");
    switch (node.operation) {
      case Operation::kConvolution:
      case Operation::kDepthwiseConvolution:
      case Operation::kTransposeConvolution:
        return InferConvolution(node);
      case Operation::kClamp:
      case Operation::kHardSwish:
      case Operation::kLogistic:
        return InputShape(node);
      case Operation::kMultiply:
      case Operation::kAdd:
        return InferBroadcast(node);
      case Operation::kGlobalAveragePool: {
        const Shape& input = PictureShape(node);
        return {input[0], 1, 1, input[3]};
      }
      case Operation::kResizeBilinear: {
        const Shape& input = PictureShape(node);
        return {input[0], node.new_height, node.new_width, input[3]};
      }
    }
    Fail(node.name, ": unknown operation");
  }

  // The shape of operand 0, which is computed.
  const Shape& InputShape(const Node& node) const {
    Require(!node.inputs.empty() && node.inputs[0] != kAbsent && !TensorAt(node.inputs[0]).constant, node.name,
            ": the input is missing or a constant");
    return ShapeOf(node.inputs[0]);
  }

  const Shape& PictureShape(const Node& node) const {
    const Shape& shape = InputShape(node);
    Require(shape.size() == 4, node.name, ": the input needs four dimensions");
    return shape;
  }

  Shape InferConvolution(const Node& node) const {
    const Shape& input = PictureShape(node);
    Require(node.inputs.size() == 3 && node.inputs[1] != kAbsent, node.name, ": needs a filter");
    const Shape& filter = ShapeOf(node.inputs[1]);
    Require(TensorAt(node.inputs[1]).constant && filter.size() == 4, node.name,
            ": the filter is no constant of rank 4");
    Require(node.stride_height >= 1 && node.stride_height <= kMaxStride && node.stride_width >= 1 &&
                node.stride_width <= kMaxStride,
            node.name, ": a stride is out of range");

    const bool depthwise = node.operation == Operation::kDepthwiseConvolution;
    Require(filter[3] == input[3] && (!depthwise || filter[0] == 1), node.name, ": the filter does not fit its input");
    const size_t channels = depthwise ? filter[3] : filter[0];
    if (node.inputs[2] != kAbsent) {
      const Tensor& bias = TensorAt(node.inputs[2]);
      Require(bias.constant && bias.shape == Shape{channels}, node.name,
              ": the bias is no constant of one value a channel");
    }
    if (node.operation == Operation::kTransposeConvolution) {
      Require(filter[1] == node.stride_height && filter[2] == node.stride_width, node.name,
              ": the filter is not as large as the stride");
      return {input[0], input[1] * node.stride_height, input[2] * node.stride_width, channels};
    }
    return {input[0], WindowCount(node, input[1], filter[1], node.stride_height),
            WindowCount(node, input[2], filter[2], node.stride_width), channels};
  }

  // Equal dimensions, or 1 against any, aligned at the last.
  Shape InferBroadcast(const Node& node) const {
    Require(node.inputs.size() == 2 && node.inputs[0] != kAbsent && node.inputs[1] != kAbsent, node.name,
            ": needs two inputs");
    const Tensor& a = TensorAt(node.inputs[0]);
    const Tensor& b = TensorAt(node.inputs[1]);
    Require(!a.constant || !b.constant, node.name, ": both inputs are constants");
    Shape shape(std::max(a.shape.size(), b.shape.size()), 1);
    for (const Shape* operand : {&a.shape, &b.shape}) {
      const size_t skipped = shape.size() - operand->size();
      for (size_t i = 0; i < operand->size(); ++i) {
        size_t& result = shape[skipped + i];
        const size_t dimension = (*operand)[i];
        Require(result == dimension || result == 1 || dimension == 1, node.name, ": the inputs' shapes do not fit");
        result = std::max(result, dimension);
      }
    }
    return shape;
  }

  const Graph& graph_;
  std::vector<size_t> producer_;  // the node that writes a tensor
};

}  // namespace

void CheckGraph(const Graph& graph) {
  Checker(graph).Check();
}

}  // namespace pexo::engine
