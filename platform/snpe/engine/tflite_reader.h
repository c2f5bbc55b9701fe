// SPDX-License-Identifier: Apache-2.0
// Reads a TensorFlow Lite model into a graph.
#ifndef PEXO_ENGINE_TFLITE_READER_H_
#define PEXO_ENGINE_TFLITE_READER_H_

#include <cstdint>
#include <span>

#include "engine/graph.h"

namespace pexo::engine {

// Models of one subgraph with one input and one output, in 32-bit floats, weights also in 16-bit ones (widened here).
// The bytes may be anything and need no alignment. Throws Error for what is damaged, or outside the operators and
// options that the engine knows. The graph's structure is unchecked: CheckGraph is next.
Graph ReadTflite(std::span<const uint8_t> bytes);

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_TFLITE_READER_H_
