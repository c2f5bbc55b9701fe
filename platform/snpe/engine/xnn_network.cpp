// SPDX-License-Identifier: Apache-2.0
#include "engine/xnn_network.h"

#include <string>
#include <utility>

#include "engine/bounds.h"
#include "engine/error.h"

namespace pexo::engine {
namespace {

constexpr uint32_t kInputId = 0;
constexpr uint32_t kOutputId = 1;

void Check(xnn_status status, const std::string& what) {
  Require(status == xnn_status_success, "XNNPACK fails to ", what, " (status ", std::to_string(status), ")");
}

// Defines a graph's tensors and nodes in an XNNPACK subgraph.
class SubgraphWriter {
 public:
  SubgraphWriter(const Graph& graph, xnn_subgraph_t subgraph)
      : graph_(graph), subgraph_(subgraph), ids_(graph.tensors.size(), XNN_INVALID_VALUE_ID) {}

  void Write() {
    Define(graph_.input, kInputId, XNN_VALUE_FLAG_EXTERNAL_INPUT);
    Define(graph_.output, kOutputId, XNN_VALUE_FLAG_EXTERNAL_OUTPUT);
    for (const Node& node : graph_.nodes) {
      Check(DefineNode(node), "define " + node.name);
    }
  }

 private:
  void Define(int32_t index, uint32_t external_id, uint32_t flags) {
    const Tensor& tensor = graph_.tensors[static_cast<size_t>(index)];
    Check(xnn_define_tensor_value(subgraph_, xnn_datatype_fp32, tensor.shape.size(), tensor.shape.data(),
                                  tensor.constant ? tensor.values.data() : nullptr, external_id, flags,
                                  &ids_[static_cast<size_t>(index)]),
          "define a tensor");
  }

  // XNNPACK's number of a tensor, which is defined at its first use.
  uint32_t Id(int32_t index) {
    if (index == kAbsent) return XNN_INVALID_VALUE_ID;
    uint32_t& id = ids_[static_cast<size_t>(index)];
    if (id == XNN_INVALID_VALUE_ID) Define(index, XNN_INVALID_VALUE_ID, 0);
    return id;
  }

  xnn_status DefineNode(const Node& node) {
    const uint32_t input = Id(node.inputs[0]);
    const uint32_t second = node.inputs.size() > 1 ? Id(node.inputs[1]) : XNN_INVALID_VALUE_ID;
    const uint32_t bias = node.inputs.size() > 2 ? Id(node.inputs[2]) : XNN_INVALID_VALUE_ID;
    const uint32_t output = Id(node.output);
    const auto stride_height = static_cast<uint32_t>(node.stride_height);
    const auto stride_width = static_cast<uint32_t>(node.stride_width);
    switch (node.operation) {
      case Operation::kConvolution: {
        const Filter filter(graph_, node);
        const Margin rows = MarginOf(node, 1), columns = MarginOf(node, 2);
        return xnn_define_convolution_2d(subgraph_, rows.before, columns.after, rows.after, columns.before,
                                         filter.height, filter.width, stride_height, stride_width, 1, 1, 1,
                                         filter.depth, filter.count, node.min, node.max, input, second, bias, output,
                                         0);
      }
      case Operation::kDepthwiseConvolution: {
        const Filter filter(graph_, node);
        const Margin rows = MarginOf(node, 1), columns = MarginOf(node, 2);
        return xnn_define_depthwise_convolution_2d(subgraph_, rows.before, columns.after, rows.after, columns.before,
                                                   filter.height, filter.width, stride_height, stride_width, 1, 1, 1,
                                                   filter.depth, node.min, node.max, input, second, bias, output, 0);
      }
      case Operation::kTransposeConvolution: {
        const Filter filter(graph_, node);
        return xnn_define_deconvolution_2d(subgraph_, 0, 0, 0, 0, 0, 0, filter.height, filter.width, stride_height,
                                           stride_width, 1, 1, 1, filter.depth, filter.count, node.min, node.max, input,
                                           second, bias, output, 0);
      }
      case Operation::kClamp:
        return xnn_define_clamp(subgraph_, node.min, node.max, input, output, 0);
      case Operation::kHardSwish:
        return xnn_define_hardswish(subgraph_, input, output, 0);
      case Operation::kLogistic:
        return xnn_define_sigmoid(subgraph_, input, output, 0);
      case Operation::kMultiply:
        return xnn_define_multiply2(subgraph_, node.min, node.max, input, second, output, 0);
      case Operation::kAdd:
        return xnn_define_add2(subgraph_, node.min, node.max, input, second, output, 0);
      case Operation::kGlobalAveragePool:
        return xnn_define_global_average_pooling_2d(subgraph_, node.min, node.max, input, output, 0);
      case Operation::kResizeBilinear:
        return xnn_define_static_resize_bilinear_2d(subgraph_, node.new_height, node.new_width, input, output, 0);
    }
    return xnn_status_unsupported_parameter;
  }

  // Zeros around a convolution's input, along dimension 1 (rows) or 2 (columns): as many as the last window lacks, the
  // smaller half in front. XNNPACK's own rule for "same" padding goes wrong where the last window ends before the
  // input.
  struct Margin {
    uint32_t before;
    uint32_t after;
  };
  Margin MarginOf(const Node& node, size_t dimension) const {
    if (node.padding == Padding::kValid) return {0, 0};
    const size_t stride = dimension == 1 ? node.stride_height : node.stride_width;
    const size_t covered = (ShapeOf(node.output)[dimension] - 1) * stride + ShapeOf(node.inputs[1])[dimension];
    const size_t size = ShapeOf(node.inputs[0])[dimension];
    const auto total = static_cast<uint32_t>(covered > size ? covered - size : 0);
    return {total / 2, total - total / 2};
  }

  const Shape& ShapeOf(int32_t index) const { return graph_.tensors[static_cast<size_t>(index)].shape; }

  struct Filter {
    Filter(const Graph& graph, const Node& node) {
      const Shape& shape = graph.tensors[static_cast<size_t>(node.inputs[1])].shape;
      count = shape[0];
      height = static_cast<uint32_t>(shape[1]);
      width = static_cast<uint32_t>(shape[2]);
      depth = shape[3];
    }
    size_t count;
    uint32_t height;
    uint32_t width;
    size_t depth;
  };

  const Graph& graph_;
  xnn_subgraph_t subgraph_;
  std::vector<uint32_t> ids_;
};

}  // namespace

XnnNetwork::XnnNetwork(Graph graph, int threads)
    : graph_(std::move(graph)),
      input_(CountElements(InputShape(), kMaxElements) + kPadding),
      output_(CountElements(OutputShape(), kMaxElements) + kPadding) {
  Check(xnn_initialize(nullptr), "start");
  xnn_subgraph_t subgraph = nullptr;
  Check(xnn_create_subgraph(2, 0, &subgraph), "make a subgraph");
  Require(subgraph != nullptr, "no memory for XNNPACK's subgraph");
  const Owner<xnn_subgraph_t> subgraph_owner(subgraph);
  SubgraphWriter(graph_, subgraph).Write();

  if (threads > 1) {
    threads_.reset(pthreadpool_create(static_cast<size_t>(threads)));
    Require(threads_ != nullptr, "no threads to run on");
  }
  xnn_runtime_t runtime = nullptr;
  // Between frames the threads sleep: spinning would take the processor from the rest of the pipeline.
  Check(xnn_create_runtime_v2(subgraph, threads_.get(), XNN_FLAG_YIELD_WORKERS, &runtime), "make a runtime");
  // It answers success without a runtime where there is no memory for the results between the nodes.
  Require(runtime != nullptr, "no memory for XNNPACK's runtime");
  runtime_.reset(runtime);
  const xnn_external_value values[] = {{kInputId, input_.data()}, {kOutputId, output_.data()}};
  Check(xnn_setup_runtime(runtime, 2, values), "set up the runtime");
}

Shape XnnNetwork::OutputShape() const {
  Shape shape = graph_.tensors[static_cast<size_t>(graph_.output)].shape;
  if (graph_.output_block == 1) return shape;
  return {shape[0], shape[1] * graph_.output_block, shape[2] * graph_.output_block, 1};
}

void XnnNetwork::Invoke() {
  Check(xnn_invoke_runtime(runtime_.get()), "run");
}

}  // namespace pexo::engine
