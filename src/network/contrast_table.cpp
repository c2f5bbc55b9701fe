// SPDX-License-Identifier: Apache-2.0
#include "network/contrast_table.h"

#include <cmath>

#include "common/log.h"

namespace pexo {
namespace {

// The exponential in single precision, the sum and the quotient in double, the result in single again.
float Logistic(float x) {
  return static_cast<float>(1.0 / (static_cast<double>(std::exp(-x)) + 1.0));
}

}  // namespace

std::vector<uint8_t> MakeContrastTable(float sigmoid_min, float sigmoid_max) {
  PEXO_LOG("Min/Max sigmoid value = %.2f/%.2f", static_cast<double>(sigmoid_min), static_cast<double>(sigmoid_max));
  const float step = (sigmoid_max - sigmoid_min) / 255.0f;
  const float low = Logistic(sigmoid_min);
  const float span = Logistic(sigmoid_max) - low;
  std::vector<uint8_t> table(256);
  for (int i = 0; i < 256; ++i) {
    const float s = Logistic(sigmoid_min + step * static_cast<float>(i));
    table[static_cast<size_t>(i)] = static_cast<uint8_t>(static_cast<int32_t>(std::round((s - low) * 255.0f / span)));
  }
  return table;
}

}  // namespace pexo
