// SPDX-License-Identifier: Apache-2.0
// What it takes to build and run a graph.
#ifndef PEXO_ENGINE_GRAPH_COST_H_
#define PEXO_ENGINE_GRAPH_COST_H_

#include "engine/graph.h"

namespace pexo::engine {

// Throws Error if XNNPACK would make too much of the graph: packed filters, tables of addresses, multiply-adds. A few
// bytes of a file can stand for any amount of them. Needs a checked graph.
void CheckCost(const Graph& graph);

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_GRAPH_COST_H_
