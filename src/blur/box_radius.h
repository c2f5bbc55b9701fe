// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_BLUR_BOX_RADIUS_H_
#define PEXO_BLUR_BOX_RADIUS_H_

#include <algorithm>

namespace pexo {

// The whole part of `radius`; 0 where that is negative or no number, and bounded so that it stays an int.
inline int BoxRadius(float radius) {
  constexpr float kLargest = 16384.0f;
  return radius >= 1.0f ? static_cast<int>(std::min(radius, kLargest)) : 0;
}

}  // namespace pexo

#endif  // PEXO_BLUR_BOX_RADIUS_H_
