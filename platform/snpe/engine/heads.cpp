// SPDX-License-Identifier: Apache-2.0
#include "engine/heads.h"

#include <algorithm>

#include "engine/error.h"

namespace pexo::engine {
namespace {

// A stored value is x * factor + term, limited: for x the probability or the logit, whichever the head takes.
struct Line {
  float factor;
  float term;
  float low;
  float high;

  // A NaN fails both comparisons and becomes `low`.
  float operator()(float x) const {
    const float value = x * factor + term;
    const float above = value > low ? value : low;
    return above < high ? above : high;
  }
};

// The line of real values, and of integers that are still to be truncated if there is a quantization.
Line MakeLine(const Head& head, const Quantization* quantization) {
  const bool scores = head.kind == HeadKind::kTwoScores;
  const double factor = 255.0 / (scores ? 1.0 : head.range);
  const double term = scores ? 0.0 : -head.lowest * factor;
  const double step = quantization != nullptr ? quantization->step : 1.0;
  const double zero = quantization != nullptr ? quantization->zero + 0.5 : 0.0;
  return {.factor = static_cast<float>(factor / step),
          .term = static_cast<float>(term / step + zero),
          .low = static_cast<float>(zero),
          .high = static_cast<float>(std::min(255.0 / step + zero, 255.0))};
}

// Calls store(pixel, x) for every pixel of the output, in an order of its own.
template <typename Store>
void ForEachPixel(const ModelOutput& model, Store store) {
  const float* from = model.values.data();
  const size_t count = model.values.size();
  if (model.block == 1) {
    for (size_t i = 0; i < count; ++i) store(i, from[i]);
    return;
  }
  const size_t width = model.width;
  for (size_t row = 0; row < count; row += 2 * width) {
    for (size_t i = 0; i < width; i += 2) {
      const float* square = from + row + 2 * i;
      store(row + i, square[0]);
      store(row + i + 1, square[1]);
      store(row + width + i, square[2]);
      store(row + width + i + 1, square[3]);
    }
  }
}

// Calls store(index, value) for every value of the output.
template <typename Store>
void ForEachValue(const ModelOutput& model, HeadKind kind, const Line& line, Store store) {
  if (kind == HeadKind::kTwoScores) {
    ForEachPixel(model, [&](size_t pixel, float x) {
      store(2 * pixel, line(1.0f - x));
      store(2 * pixel + 1, line(x));
    });
  } else {
    ForEachPixel(model, [&](size_t pixel, float x) { store(pixel, line(x)); });
  }
}

}  // namespace

const char* HeadName(HeadKind kind) {
  return kind == HeadKind::kTwoScores ? "two-scores" : "logit-grey";
}

HeadKind HeadFromName(const std::string& name) {
  for (const HeadKind kind : {HeadKind::kTwoScores, HeadKind::kLogitGrey}) {
    if (name == HeadName(kind)) return kind;
  }
  Fail("unknown head \"", name, "\"");
}

size_t HeadChannels(HeadKind kind) {
  return kind == HeadKind::kTwoScores ? 2 : 1;
}

void ReadInput(std::span<const uint8_t> stored, const Quantization& quantization, const InputTransform& transform,
               std::span<float> model) {
  const auto factor = static_cast<float>(quantization.step * transform.scale);
  const auto term = static_cast<float>(transform.offset - quantization.zero * quantization.step * transform.scale);
  const uint8_t* from = stored.data();
  float* to = model.data();
  for (size_t i = 0; i < model.size(); ++i) to[i] = static_cast<float>(from[i]) * factor + term;
}

void ReadInput(std::span<const float> stored, const InputTransform& transform, std::span<float> model) {
  const auto factor = static_cast<float>(transform.scale);
  const auto term = static_cast<float>(transform.offset);
  for (size_t i = 0; i < model.size(); ++i) model[i] = stored[i] * factor + term;
}

void WriteOutput(const ModelOutput& model, const Head& head, const Quantization& quantization,
                 std::span<uint8_t> stored) {
  uint8_t* to = stored.data();
  ForEachValue(model, head.kind, MakeLine(head, &quantization),
               [to](size_t i, float value) { to[i] = static_cast<uint8_t>(static_cast<int32_t>(value)); });
}

void WriteOutput(const ModelOutput& model, const Head& head, std::span<float> stored) {
  float* to = stored.data();
  ForEachValue(model, head.kind, MakeLine(head, nullptr), [to](size_t i, float value) { to[i] = value; });
}

}  // namespace pexo::engine
