// SPDX-License-Identifier: Apache-2.0
// 16-bit floats.
#ifndef PEXO_ENGINE_HALF_H_
#define PEXO_ENGINE_HALF_H_

#include <bit>
#include <cstdint>

namespace pexo::engine {

// The value of an IEEE 754 binary16, exactly; NaNs keep their payload.
inline float HalfToFloat(uint16_t half) {
  const uint32_t sign = static_cast<uint32_t>(half & 0x8000u) << 16;
  const uint32_t magnitude = half & 0x7FFFu;
  if (magnitude < 0x0400u) {  // zero or subnormal: a count of 2^-24
    const float value = static_cast<float>(magnitude) * 0x1p-24f;
    return std::bit_cast<float>(std::bit_cast<uint32_t>(value) | sign);
  }
  const uint32_t rebias = magnitude >= 0x7C00u ? (255u - 31u) << 23 : (127u - 15u) << 23;
  return std::bit_cast<float>(sign | ((magnitude << 13) + rebias));
}

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_HALF_H_
