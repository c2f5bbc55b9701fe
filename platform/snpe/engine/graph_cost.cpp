// SPDX-License-Identifier: Apache-2.0
#include "engine/graph_cost.h"

#include <algorithm>

#include "engine/bounds.h"
#include "engine/error.h"

namespace pexo::engine {
namespace {

// XNNPACK's tiles on any processor are at most this large, and every operand is padded to whole ones.
constexpr uint64_t kTilePixels = 16;
constexpr uint64_t kTileResults = 16;
constexpr uint64_t kTileInputs = 4;
// Depthwise kernels exist for windows up to this size; larger ones run as one convolution for each channel.
constexpr uint64_t kMaxDepthwiseWindow = 25;
constexpr uint64_t kDepthwiseTile = 32;

constexpr uint64_t kAddressBytes = sizeof(void*);
constexpr uint64_t kResizedPixelBytes = 4 * kAddressBytes + 2 * sizeof(float);  // four neighbours and two weights

uint64_t RoundUp(uint64_t value, uint64_t multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

// Each sum is checked as it grows, so that it stays far below 2^64: no addend is above 2^60.
class Cost {
 public:
  explicit Cost(const Graph& graph) : graph_(graph) {}

  void Add(const Node& node) {
    switch (node.operation) {
      case Operation::kConvolution:
      case Operation::kDepthwiseConvolution:
      case Operation::kTransposeConvolution:
        AddConvolution(node);
        break;
      case Operation::kGlobalAveragePool:
        Require(ShapeOf(node.output)[3] <= kMaxPooledChannels, node.name, ": too many channels to pool");
        break;
      case Operation::kResizeBilinear:
        table_bytes_ += Pixels(node.output) * kResizedPixelBytes;
        break;
      default:
        break;
    }
    Require(packed_elements_ <= kMaxPackedElements, node.name, ": the model's filters are too large when packed");
    Require(table_bytes_ <= kMaxTableBytes, node.name, ": the model's windows and resizes are too large");
    Require(multiply_adds_ <= kMaxMultiplyAdds, node.name, ": the model's convolutions are too much work");
  }

 private:
  void AddConvolution(const Node& node) {
    const Shape& filter = ShapeOf(node.inputs[1]);
    const uint64_t window = filter[1] * filter[2];
    const bool transposed = node.operation == Operation::kTransposeConvolution;
    const uint64_t pixels = Pixels(transposed ? node.inputs[0] : node.output);
    table_bytes_ += RoundUp(pixels, kTilePixels) * window * kAddressBytes;

    if (node.operation == Operation::kDepthwiseConvolution && window <= kMaxDepthwiseWindow) {
      const uint64_t channels = RoundUp(filter[3], kDepthwiseTile);
      packed_elements_ += channels * (kMaxDepthwiseWindow + 1);
      multiply_adds_ += pixels * channels * window;
      return;
    }
    const bool depthwise = node.operation == Operation::kDepthwiseConvolution;
    const uint64_t groups = depthwise ? filter[3] : 1;
    const uint64_t results = RoundUp(filter[0], kTileResults);
    const uint64_t inputs = RoundUp(depthwise ? 1 : filter[3], kTileInputs);
    // Beside the filter: a bias, and a transposed convolution's record, for each place in the window.
    packed_elements_ += groups * results * window * (inputs + 2);
    multiply_adds_ += pixels * groups * results * window * inputs;
  }

  const Shape& ShapeOf(int32_t index) const { return graph_.tensors[static_cast<size_t>(index)].shape; }
  uint64_t Pixels(int32_t index) const {
    const Shape& shape = ShapeOf(index);
    return shape[0] * shape[1] * shape[2];
  }

  const Graph& graph_;
  uint64_t packed_elements_ = 0;
  uint64_t table_bytes_ = 0;
  uint64_t multiply_adds_ = 0;
};

}  // namespace

void CheckCost(const Graph& graph) {
  Cost cost(graph);
  for (const Node& node : graph.nodes) cost.Add(node);
}

}  // namespace pexo::engine
