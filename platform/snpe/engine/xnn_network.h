// SPDX-License-Identifier: Apache-2.0
// A graph, built for XNNPACK and run by it.
#ifndef PEXO_ENGINE_XNN_NETWORK_H_
#define PEXO_ENGINE_XNN_NETWORK_H_

#include <xnnpack.h>

#include <cstddef>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

#include "engine/graph.h"

namespace pexo::engine {

// One thread at a time for each network.
class XnnNetwork {
 public:
  // Keeps the graph, whose constants the executor goes on reading. The graph must have passed CheckGraph. `threads` is
  // at least 1, the caller's thread among them. Throws Error if XNNPACK refuses the graph.
  XnnNetwork(Graph graph, int threads);

  const Shape& InputShape() const { return graph_.tensors[static_cast<size_t>(graph_.input)].shape; }
  // Of the picture that the output stands for, whatever the squares that its pixels come in.
  Shape OutputShape() const;
  size_t OutputBlock() const { return graph_.output_block; }

  // The elements of the input, to be written before Invoke, and of the output, to be read after it; row-major. The
  // output's are squares of OutputBlock() pixels on each side.
  std::span<float> Input() { return std::span(input_).first(input_.size() - kPadding); }
  std::span<const float> Output() const { return std::span(output_).first(output_.size() - kPadding); }

  // Throws Error on failure.
  void Invoke();

 private:
  // XNNPACK may read, but never uses, this much behind a tensor.
  static constexpr size_t kPadding = XNN_EXTRA_BYTES / sizeof(float);

  struct Deleter {
    void operator()(xnn_subgraph_t subgraph) const { xnn_delete_subgraph(subgraph); }
    void operator()(xnn_runtime_t runtime) const { xnn_delete_runtime(runtime); }
    void operator()(pthreadpool_t pool) const { pthreadpool_destroy(pool); }
  };
  template <typename Handle>
  using Owner = std::unique_ptr<std::remove_pointer_t<Handle>, Deleter>;

  // Destroyed from the last to the first: the runtime goes before the threads and the memory it uses.
  Graph graph_;
  std::vector<float> input_;
  std::vector<float> output_;
  Owner<pthreadpool_t> threads_;  // null: the caller's thread alone
  Owner<xnn_runtime_t> runtime_;
};

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_XNN_NETWORK_H_
