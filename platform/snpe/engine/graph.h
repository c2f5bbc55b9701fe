// SPDX-License-Identifier: Apache-2.0
// A network as plain data: what the readers of model files produce, the checks examine and the executor builds from.
#ifndef PEXO_ENGINE_GRAPH_H_
#define PEXO_ENGINE_GRAPH_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace pexo::engine {

using Shape = std::vector<size_t>;  // slowest dimension first; activations are batch, height, width, channels

inline constexpr int32_t kAbsent = -1;  // an operand that a node goes without

struct Tensor {
  Shape shape;
  bool constant = false;
  std::vector<float> values;  // of a constant; padded behind its elements as XNNPACK wants it
};

enum class Operation {
  kConvolution,           // input, filter [out, kh, kw, in], bias [out] or absent
  kDepthwiseConvolution,  // input, filter [1, kh, kw, channels], bias [channels] or absent
  kTransposeConvolution,  // input, filter [out, kh, kw, in] as large as the stride, bias [out] or absent
  kClamp,                 // input
  kHardSwish,             // input
  kLogistic,              // input
  kMultiply,              // two inputs, broadcast
  kAdd,                   // two inputs, broadcast
  kGlobalAveragePool,     // input; height and width become 1
  kResizeBilinear,        // input; half-pixel centres
};

enum class Padding { kSame, kValid };

struct Node {
  Operation operation;
  std::string name;             // of the model's operator, for messages
  std::vector<int32_t> inputs;  // tensor indices or kAbsent
  int32_t output = kAbsent;
  Padding padding = Padding::kSame;
  size_t stride_height = 1;
  size_t stride_width = 1;
  size_t new_height = 0;  // kResizeBilinear
  size_t new_width = 0;
  float min = -std::numeric_limits<float>::infinity();  // bounds of the results
  float max = std::numeric_limits<float>::infinity();
};

struct Graph {
  std::vector<Tensor> tensors;
  std::vector<Node> nodes;  // in the order of execution
  int32_t input = kAbsent;
  int32_t output = kAbsent;
  // Side of the squares of pixels that the output has as its channels, row by row: [1, h, w, block * block] stands for
  // [1, h * block, w * block, 1].
  size_t output_block = 1;
  std::string input_name;
  std::string output_name;
};

// Elements of a shape, or 0 if a dimension is 0 or there would be more than `limit`.
inline size_t CountElements(const Shape& shape, size_t limit) {
  size_t count = 1;
  for (const size_t dimension : shape) {
    if (dimension == 0 || dimension > limit / count) return 0;
    count *= dimension;
  }
  return count;
}

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_GRAPH_H_
