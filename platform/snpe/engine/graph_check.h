// SPDX-License-Identifier: Apache-2.0
// Examines graphs.
#ifndef PEXO_ENGINE_GRAPH_CHECK_H_
#define PEXO_ENGINE_GRAPH_CHECK_H_

#include "engine/graph.h"

namespace pexo::engine {

// Throws Error unless the executor can build from the graph. XNNPACK ends the process over an inconsistent graph, so
// nothing is left to it: operands in range and of the right kind, one producer for each tensor, nodes after what they
// read, no node and no input without use, every shape equal to the one inferred, sizes within bounds.
void CheckGraph(const Graph& graph);

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_GRAPH_CHECK_H_
