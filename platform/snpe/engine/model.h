// SPDX-License-Identifier: Apache-2.0
// The graph that a container stands for, and the container that a model makes.
#ifndef PEXO_ENGINE_MODEL_H_
#define PEXO_ENGINE_MODEL_H_

#include <cstdint>
#include <vector>

#include "engine/container.h"
#include "engine/graph.h"

namespace pexo::engine {

// What is changed in a graph so that it runs faster; the results differ by rounding alone. kNone is for comparisons.
enum class Rewrites { kNone, kAll };

// Makes a checked graph ready to be built. Throws Error if building or running it would take too much.
void PrepareGraph(Graph& graph, Rewrites rewrites);

// The graph of a container, ready to be built: the model's, checked, with what its head leaves out taken away. Throws
// Error if the model is unusable or does not fit the description.
Graph ReadGraph(const Container& container, Rewrites rewrites = Rewrites::kAll);

// A container of this model: 8-bit pictures at its input stand for 0 to 1, the output is shaped by the head. Throws
// Error unless ReadGraph accepts it.
Container MakeContainer(std::vector<uint8_t> model, HeadKind head);

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_MODEL_H_
