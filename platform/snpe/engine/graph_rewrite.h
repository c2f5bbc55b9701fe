// SPDX-License-Identifier: Apache-2.0
// Changes graphs without changing what they compute.
#ifndef PEXO_ENGINE_GRAPH_REWRITE_H_
#define PEXO_ENGINE_GRAPH_REWRITE_H_

#include "engine/graph.h"

namespace pexo::engine {

// All of these need a checked graph and keep it one, within the bounds of sizes or beyond.

// Leaves out the logistic function at the graph's end, so that its argument becomes the output. Throws Error if the
// graph ends otherwise.
void DropFinalLogistic(Graph& graph);

// Merges each clamp of a convolution's result into the convolution's own bounds. Bounds that do not overlap, which no
// model file can ask for, then fail the next check: XNNPACK would merge them as well.
void FoldClamps(Graph& graph);

// Replaces what XNNPACK runs slowly by what it runs fast and that is equal in real arithmetic, so that the results
// differ by rounding alone. Best after FoldClamps.
void RewriteForSpeed(Graph& graph);

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_GRAPH_REWRITE_H_
