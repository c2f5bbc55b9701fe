// SPDX-License-Identifier: Apache-2.0
// The model container of the host: a ZIP archive with the network and a description of its two ends
// (docs/containers.md).
#ifndef PEXO_ENGINE_CONTAINER_H_
#define PEXO_ENGINE_CONTAINER_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "engine/heads.h"

namespace pexo::engine {

struct Container {
  std::string input_name;   // of the model's input tensor
  std::string output_name;  // of the model's output tensor
  InputTransform transform;
  Head head;
  std::vector<uint8_t> model;  // a TensorFlow Lite file
};

// Reads a container and checks its integrity: the structure, the description, the sum over the model. The model itself
// is not looked into. Throws Error for bytes of any other kind.
Container ReadContainer(std::span<const uint8_t> bytes);

// The bytes of a container; equal ones for equal contents.
std::vector<uint8_t> WriteContainer(const Container& container);

// The content of a regular file of at most `limit` bytes. Throws Error.
std::vector<uint8_t> ReadFile(const std::string& path, size_t limit);

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_CONTAINER_H_
