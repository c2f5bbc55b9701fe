// SPDX-License-Identifier: Apache-2.0
#include "engine/graph_rewrite.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "engine/error.h"

namespace pexo::engine {
namespace {

constexpr size_t kNone = static_cast<size_t>(-1);
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Beyond this many channels a broadcast over the pixels costs little, and a row of a gate is long.
constexpr size_t kMaxTiledChannels = 64;

bool IsConvolution(const Node& node) {
  return node.operation == Operation::kConvolution || node.operation == Operation::kDepthwiseConvolution ||
         node.operation == Operation::kTransposeConvolution;
}

bool IsElementwise(const Node& node) {
  return node.operation == Operation::kClamp || node.operation == Operation::kHardSwish ||
         node.operation == Operation::kLogistic;
}

bool IsClamped(const Node& node) {
  return node.min != -kInfinity || node.max != kInfinity;
}

// Moves a graph's nodes, in their order, to a new list, where the caller may still change them.
class Rewriter {
 public:
  explicit Rewriter(Graph& graph)
      : graph_(graph), readers_(graph.tensors.size()), source_(graph.tensors.size(), kNone) {
    for (const Node& node : graph.nodes) {
      for (const int32_t input : node.inputs) {
        if (input != kAbsent) ++readers_[static_cast<size_t>(input)];
      }
    }
  }

  // The nodes to go through; each is kept, changed or left out.
  std::vector<Node> TakeNodes() { return std::exchange(graph_.nodes, {}); }

  void Keep(Node node) {
    source_[static_cast<size_t>(node.output)] = graph_.nodes.size();
    graph_.nodes.push_back(std::move(node));
  }

  // The kept node that writes the first input of `reader`, null where that is the graph's. Valid until the next is
  // kept.
  Node* Source(const Node& reader) {
    const size_t source = source_[static_cast<size_t>(reader.inputs[0])];
    return source != kNone ? &graph_.nodes[source] : nullptr;
  }
  // The same, if it is of this operation and nothing else reads its result.
  Node* SoleSource(const Node& reader, Operation operation) {
    Node* source = Source(reader);
    return source != nullptr && source->operation == operation && Readers(source->output) == 1 ? source : nullptr;
  }

  // Of nodes kept, and to come.
  size_t& Readers(int32_t tensor) { return readers_[static_cast<size_t>(tensor)]; }

  // Lets a kept node write another tensor.
  void Redirect(Node& source, int32_t output) {
    source_[static_cast<size_t>(output)] = static_cast<size_t>(&source - graph_.nodes.data());
    source.output = output;
  }

  // A tensor that one node will read.
  int32_t AddTensor(Shape shape) {
    graph_.tensors.push_back({std::move(shape), false, {}});
    readers_.push_back(1);
    source_.push_back(kNone);
    return static_cast<int32_t>(graph_.tensors.size() - 1);
  }

  Tensor& TensorAt(int32_t index) { return graph_.tensors[static_cast<size_t>(index)]; }
  Shape& ShapeOf(int32_t index) { return TensorAt(index).shape; }

 private:
  Graph& graph_;
  std::vector<size_t> readers_;  // of each tensor
  std::vector<size_t> source_;   // the kept node that writes it
};

// A transposed convolution to one channel keeps few of the processor's lanes busy. With squares of 2 x 2 side by side,
// and nothing but functions of single values behind it, it is an ordinary convolution to the four pixels of a square,
// which find their places when the output is read.
void SquareOutput(Graph& graph) {
  size_t at = graph.nodes.size() - 1;
  // Everything serves the output, so each of these reads the node before it.
  while (at > 0 && IsElementwise(graph.nodes[at])) --at;
  Node& node = graph.nodes[at];
  const auto tensor = [&](int32_t index) -> const Tensor& { return graph.tensors[static_cast<size_t>(index)]; };
  if (node.operation != Operation::kTransposeConvolution || node.stride_height != 2 || node.stride_width != 2 ||
      tensor(node.inputs[1]).shape[0] != 1) {
    return;
  }
  Tensor filter = tensor(node.inputs[1]);  // [1, 2, 2, in], as [4, 1, 1, in] the same values
  filter.shape = {4, 1, 1, filter.shape[3]};
  node.inputs[1] = static_cast<int32_t>(graph.tensors.size());
  graph.tensors.push_back(std::move(filter));
  if (node.inputs[2] != kAbsent) {
    Tensor bias = tensor(node.inputs[2]);
    bias.shape = {4};
    bias.values.insert(bias.values.begin(), 3, bias.values[0]);
    node.inputs[2] = static_cast<int32_t>(graph.tensors.size());
    graph.tensors.push_back(std::move(bias));
  }
  node.operation = Operation::kConvolution;
  node.stride_height = node.stride_width = 1;
  for (; at < graph.nodes.size(); ++at) {
    Shape& shape = graph.tensors[static_cast<size_t>(graph.nodes[at].output)].shape;
    shape = {shape[0], shape[1] / 2, shape[2] / 2, 4};
  }
  graph.output_block = 2;
}

// Whether a resize may go behind the convolution that reads it, and has no more channels to resize there.
bool MayEnlargeAfter(const Node& convolution, const Node& resize, Rewriter& rewriter) {
  const Shape& filter = rewriter.ShapeOf(convolution.inputs[1]);
  const Shape& input = rewriter.ShapeOf(resize.inputs[0]);
  return filter[1] == 1 && filter[2] == 1 && convolution.stride_height == 1 && convolution.stride_width == 1 &&
         !IsClamped(convolution) && filter[0] <= filter[3] && resize.new_height >= input[1] &&
         resize.new_width >= input[2];
}

// Each value of a resized picture is a weighted mean of four, and a 1x1 convolution of a mean is the mean of the
// convolutions. So a picture is enlarged after its convolution, which has less to do on the small one.
void ConvolveBeforeEnlarging(Graph& graph) {
  Rewriter rewriter(graph);
  for (Node& node : rewriter.TakeNodes()) {
    Node* resize =
        node.operation == Operation::kConvolution ? rewriter.SoleSource(node, Operation::kResizeBilinear) : nullptr;
    if (resize != nullptr && MayEnlargeAfter(node, *resize, rewriter)) {
      const int32_t between = node.inputs[0];
      const int32_t last = node.output;
      const Shape& input = rewriter.ShapeOf(resize->inputs[0]);
      rewriter.ShapeOf(between) = {input[0], input[1], input[2], rewriter.ShapeOf(last)[3]};
      node.inputs[0] = resize->inputs[0];
      node.output = between;
      resize->inputs[0] = between;
      resize->output = last;
      std::swap(node, *resize);
    }
    rewriter.Keep(std::move(node));
  }
}

// Whether the mean of a sum may be made of means.
bool IsPlainSum(const Node& sum, Rewriter& rewriter) {
  const Tensor& left = rewriter.TensorAt(sum.inputs[0]);
  const Tensor& right = rewriter.TensorAt(sum.inputs[1]);
  return !IsClamped(sum) && !left.constant && !right.constant && left.shape == right.shape;
}

// The mean of a sum is the sum of the means, for which the sum of the pictures need not be written.
void PoolBeforeAdding(Graph& graph) {
  Rewriter rewriter(graph);
  for (Node& node : rewriter.TakeNodes()) {
    Node* sum = node.operation == Operation::kGlobalAveragePool ? rewriter.SoleSource(node, Operation::kAdd) : nullptr;
    if (sum != nullptr && IsPlainSum(*sum, rewriter)) {
      const Shape pooled = rewriter.ShapeOf(node.output);
      Node left = *sum, right = *sum;
      left.operation = right.operation = Operation::kGlobalAveragePool;
      left.inputs = {sum->inputs[0]};
      right.inputs = {sum->inputs[1]};
      right.output = rewriter.AddTensor(pooled);
      rewriter.ShapeOf(left.output) = pooled;
      // The pool becomes the sum, and keeps its own bounds.
      node.operation = Operation::kAdd;
      node.inputs = {left.output, right.output};
      *sum = std::move(left);
      rewriter.Keep(std::move(right));
    }
    rewriter.Keep(std::move(node));
  }
}

// Where height and width grow by whole factors, every pixel has the same weight in the result, so the mean is that of
// the small picture. The resize stays for its other readers.
void PoolBeforeEnlarging(Graph& graph) {
  Rewriter rewriter(graph);
  for (Node& node : rewriter.TakeNodes()) {
    const Node* resize = node.operation == Operation::kGlobalAveragePool ? rewriter.Source(node) : nullptr;
    if (resize != nullptr && resize->operation == Operation::kResizeBilinear && rewriter.Readers(resize->output) > 1) {
      const Shape& input = rewriter.ShapeOf(resize->inputs[0]);
      if (resize->new_height % input[1] == 0 && resize->new_width % input[2] == 0) {
        --rewriter.Readers(resize->output);
        node.inputs[0] = resize->inputs[0];
        ++rewriter.Readers(node.inputs[0]);
      }
    }
    rewriter.Keep(std::move(node));
  }
}

// Whether one computed value for each channel meets a picture of several rows and columns.
bool IsGateOf(const Tensor& gate, const Shape& picture) {
  return !gate.constant && picture.size() == 4 && picture[1] > 1 && picture[2] > 1 && picture[3] <= kMaxTiledChannels &&
         gate.shape == Shape{picture[0], 1, 1, picture[3]};
}

// A gate, one value for each channel, is multiplied pixel by pixel, in loops as short as there are channels. Repeated
// along a row by a resize, which copies exactly where there is one pixel to take from, it is multiplied row by row.
void TileGates(Graph& graph) {
  Rewriter rewriter(graph);
  for (Node& node : rewriter.TakeNodes()) {
    for (size_t i = 0; node.operation == Operation::kMultiply && i < 2; ++i) {
      const Shape picture = rewriter.ShapeOf(node.inputs[1 - i]);
      if (!IsGateOf(rewriter.TensorAt(node.inputs[i]), picture)) continue;
      Node tile;
      tile.operation = Operation::kResizeBilinear;
      tile.name = node.name;
      tile.new_height = 1;
      tile.new_width = picture[2];
      tile.inputs = {node.inputs[i]};
      tile.output = rewriter.AddTensor({picture[0], 1, picture[2], picture[3]});
      node.inputs[i] = tile.output;
      rewriter.Keep(std::move(tile));
    }
    rewriter.Keep(std::move(node));
  }
}

}  // namespace

void DropFinalLogistic(Graph& graph) {
  // In a checked graph everything serves the output, so its producer is the last node.
  Require(graph.nodes.back().operation == Operation::kLogistic, "the model does not end with a logistic function");
  const int32_t argument = graph.nodes.back().inputs[0];
  Require(argument != graph.input, "the model has nothing before its logistic function");
  graph.output = argument;
  graph.nodes.pop_back();
}

void FoldClamps(Graph& graph) {
  Rewriter rewriter(graph);
  for (Node& node : rewriter.TakeNodes()) {
    Node* source = node.operation == Operation::kClamp ? rewriter.Source(node) : nullptr;
    if (source != nullptr && IsConvolution(*source) && rewriter.Readers(source->output) == 1) {
      source->min = std::max(source->min, node.min);
      source->max = std::min(source->max, node.max);
      rewriter.Redirect(*source, node.output);
      continue;
    }
    rewriter.Keep(std::move(node));
  }
}

void RewriteForSpeed(Graph& graph) {
  SquareOutput(graph);
  ConvolveBeforeEnlarging(graph);
  PoolBeforeAdding(graph);
  PoolBeforeEnlarging(graph);
  TileGates(graph);
}

}  // namespace pexo::engine
