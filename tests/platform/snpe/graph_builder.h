// SPDX-License-Identifier: Apache-2.0
// Graphs for tests, in a few letters and without a model file.
#ifndef PEXO_TESTS_GRAPH_BUILDER_H_
#define PEXO_TESTS_GRAPH_BUILDER_H_

#include <xnnpack.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "engine/graph.h"

namespace pexo::test {

// The values of all constants, but for a scale: quarters, in no obvious order.
inline float Value(size_t index) {
  return (static_cast<float>(index * 7 % 11) - 5) / 4;
}

// A graph that grows at its output. Each node is a word, and reads the output there is:
//   c8,3x3/2x1  convolution to 8 channels, window 3 x 3, stride 2 x 1 (or 1 x 1), "same" padding; height first
//   d0,3x3/2x1  depthwise convolution
//   t1,2x2      transposed convolution to 1 channel
//   r4x6        bilinear resize to 4 x 6
//   h s k p     hard swish, logistic function, clamp, global average pool
//   a2 m0       sum and product with the result of the second node, with the input
//   A1,4,6,3    sum with a constant of that shape; M as well
// The marks behind a word: ^ at most 0.1, _ at least 0, ~ operands swapped, + with a bias.
struct GraphBuilder {
  explicit GraphBuilder(const engine::Shape& input) { graph.input = graph.output = AddTensor(input); }

  // Adds the nodes that the parts, joined, are words for.
  template <typename... Parts>
  GraphBuilder& Add(const Parts&... parts) {
    std::string words;
    ((words += parts), ...);
    std::istringstream stream(words);
    for (std::string word; stream >> word;) AddNode(word);
    return *this;
  }

  const engine::Shape& OutputShape() const { return graph.tensors[static_cast<size_t>(graph.output)].shape; }
  // What words call the output there is.
  std::string Name() const { return std::to_string(graph.nodes.size()); }

  static constexpr std::string_view kLetters = "cdtkhsmapr";  // of the operations, in their order
  engine::Graph graph;

 private:
  int32_t AddTensor(const engine::Shape& shape) {
    graph.tensors.push_back({shape, false, {}});
    return static_cast<int32_t>(graph.tensors.size() - 1);
  }

  int32_t AddConstant(const engine::Shape& shape, float scale = 1) {
    std::vector<float> values(engine::CountElements(shape, SIZE_MAX) + XNN_EXTRA_BYTES / sizeof(float));
    for (size_t i = 0; i < values.size(); ++i) values[i] = Value(i) * scale;
    graph.tensors.push_back({shape, true, std::move(values)});
    return static_cast<int32_t>(graph.tensors.size() - 1);
  }

  void AddNode(std::string word) {
    using enum engine::Operation;
    const auto marked = [&](char mark) { return word.find(mark) != std::string::npos; };
    std::vector<size_t> numbers;
    for (size_t at = 1; (at = word.find_first_of("0123456789", at)) < word.size(); ++at) {
      numbers.push_back(std::stoul(word.substr(at)));
      at = std::min(word.find_first_not_of("0123456789", at), word.size());
    }
    engine::Shape shape = OutputShape();
    engine::Node node;
    node.operation = static_cast<engine::Operation>(kLetters.find(static_cast<char>(word[0] | 0x20)));
    node.inputs = {graph.output};
    if (node.operation <= kTransposeConvolution) {
      const bool depthwise = node.operation == kDepthwiseConvolution;
      if (node.operation == kTransposeConvolution) numbers.insert(numbers.end(), {numbers[1], numbers[2]});
      numbers.resize(5, 1);
      const size_t count = depthwise ? shape[3] : numbers[0];
      const float scale = 1 / static_cast<float>(numbers[1] * (depthwise ? 1 : shape[3]));
      node.inputs.push_back(AddConstant({depthwise ? 1 : count, numbers[1], numbers[2], shape[3]}, scale));
      node.inputs.push_back(marked('+') ? AddConstant({count}) : engine::kAbsent);
      node.stride_height = numbers[3];
      node.stride_width = numbers[4];
      for (size_t i = 1; i < 3; ++i) {
        const size_t stride = numbers[i + 2];
        shape[i] = node.operation == kTransposeConvolution ? shape[i] * stride : (shape[i] + stride - 1) / stride;
      }
      shape[3] = count;
    } else if (node.operation == kAdd || node.operation == kMultiply) {
      node.inputs.push_back(word[0] < 'a'     ? AddConstant(numbers)
                            : numbers[0] == 0 ? graph.input
                                              : graph.nodes[numbers[0] - 1].output);
      const engine::Shape& other = graph.tensors[static_cast<size_t>(node.inputs[1])].shape;
      std::transform(other.rbegin(), other.rend(), shape.rbegin(), shape.rbegin(),
                     [](size_t a, size_t b) { return std::max(a, b); });
      if (marked('~')) std::swap(node.inputs[0], node.inputs[1]);
    } else if (node.operation == kGlobalAveragePool) {
      shape[1] = shape[2] = 1;
    } else if (node.operation == kResizeBilinear) {
      shape[1] = node.new_height = numbers[0];
      shape[2] = node.new_width = numbers[1];
    }
    if (marked('^')) node.max = 0.1f;
    if (marked('_')) node.min = 0;
    node.output = graph.output = AddTensor(shape);
    graph.nodes.push_back(std::move(node));
  }
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_GRAPH_BUILDER_H_
