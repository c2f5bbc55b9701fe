#include "engine/heads.h"

#include <algorithm>

#include "engine/error.h"

namespace pexo::engine {
namespace {

// A NaN fails both comparisons of its own, and becomes `low`.
inline float Limit(float value, float low, float high) {
  const float above = value > low ? value : low;
  return above < high ? above : high;
}

// Real values at the border are x * factor + term, limited to 0 to 255.
struct Line {
  float factor;
  float term;
  float operator()(float x) const { return Limit(x * factor + term, 0.0f, 255.0f); }
};

Line GreyLine(const Head& head) {
  return {static_cast<float>(255.0 / head.range), static_cast<float>(-head.lowest * 255.0 / head.range)};
}

// Calls store(index, real value) for every value of the output.
template <typename Store>
void ForEachValue(std::span<const float> model, const Head& head, Store store) {
  if (head.kind == HeadKind::kTwoScores) {
    const Line score = {255.0f, 0.0f};
    for (size_t i = 0; i < model.size(); ++i) {
      const float foreground = model[i];
      store(2 * i, score(1.0f - foreground));
      store(2 * i + 1, score(foreground));
    }
  } else {
    const Line level = GreyLine(head);
    for (size_t i = 0; i < model.size(); ++i) store(i, level(model[i]));
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

void WriteOutput(std::span<const float> model, const Head& head, const Quantization& quantization,
                 std::span<uint8_t> stored) {
  const auto factor = static_cast<float>(1.0 / quantization.step);
  const auto term = static_cast<float>(quantization.zero + 0.5);
  uint8_t* to = stored.data();
  ForEachValue(model, head, [=](size_t i, float value) {
    to[i] = static_cast<uint8_t>(static_cast<int32_t>(Limit(value * factor + term, 0.0f, 255.0f)));
  });
}

void WriteOutput(std::span<const float> model, const Head& head, std::span<float> stored) {
  float* to = stored.data();
  ForEachValue(model, head, [=](size_t i, float value) { to[i] = value; });
}

}  // namespace pexo::engine
