// SPDX-License-Identifier: Apache-2.0
// How stored numbers become a model's input, and a model's output the values that callers see.
#ifndef PEXO_ENGINE_HEADS_H_
#define PEXO_ENGINE_HEADS_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace pexo::engine {

// A real value v at the engine's border is v * scale + offset inside the model.
struct InputTransform {
  double scale = 1.0;
  double offset = 0.0;
};

enum class HeadKind {
  // From a probability p of foreground: two values, background 255 * (1 - p) and foreground 255 * p.
  kTwoScores,
  // From the argument x of a final logistic function, which is not computed: (x - lowest) * 255 / range.
  kLogitGrey,
};

struct Head {
  HeadKind kind = HeadKind::kTwoScores;
  double lowest = 0.0;  // kLogitGrey
  double range = 1.0;
};

// "two-scores", "logit-grey".
const char* HeadName(HeadKind kind);
// Throws Error for another name.
HeadKind HeadFromName(const std::string& name);

// Values of a head for each value of the model.
size_t HeadChannels(HeadKind kind);

// 8-bit integers q stand for the real values (q - zero) * step; step is positive.
struct Quantization {
  double zero = 0.0;
  double step = 1.0;
};

// Buffers at the border into the model's input. Equal lengths.
void ReadInput(std::span<const uint8_t> stored, const Quantization& quantization, const InputTransform& transform,
               std::span<float> model);
void ReadInput(std::span<const float> stored, const InputTransform& transform, std::span<float> model);

// A model's output, row by row: of pixels, or of squares of 2 x 2 pixels.
struct ModelOutput {
  std::span<const float> values;
  size_t width = 1;  // pixels in a row
  size_t block = 1;  // pixels along each side of a square, 1 or 2
};

// The model's output into buffers at the border, row by row: HeadChannels() values for each pixel, limited to 0 to 255,
// a NaN counting as the lower limit of the calculation. Integers are rounded to the nearest, halves up, and limited to
// what 8 bits hold.
void WriteOutput(const ModelOutput& model, const Head& head, const Quantization& quantization,
                 std::span<uint8_t> stored);
void WriteOutput(const ModelOutput& model, const Head& head, std::span<float> stored);

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_HEADS_H_
