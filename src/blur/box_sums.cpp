// SPDX-License-Identifier: Apache-2.0
#include "blur/box_sums.h"

#include <algorithm>

namespace pexo {
namespace {

template <typename Sum>
void Accumulate(Sum* sums, const uint8_t* row, uint32_t weight, int width) {
  for (int x = 0; x < width; ++x) sums[x] = static_cast<Sum>(sums[x] + row[x] * weight);
}

template <typename Sum>
void RepeatBorders(Sum* extended, int width, int radius) {
  Sum* last = extended + radius + width - 1;
  std::fill(extended, extended + radius, extended[radius]);
  std::fill(last + 1, last + 1 + radius, *last);
}

}  // namespace

BoxSums::BoxSums(void* work, int width, int height, int radius)
    : wide_sums_(static_cast<uint32_t*>(work)),
      narrow_sums_(static_cast<uint16_t*>(work)),
      width_(width),
      height_(height),
      radius_(radius) {}

void BoxSums::Clear() {
  if (IsNarrow(radius_)) {
    std::fill_n(narrow_sums_, Words(width_, radius_), uint16_t{0});
  } else {
    std::fill_n(wide_sums_, Words(width_, radius_), 0u);
  }
}

void BoxSums::AddRow(const uint8_t* row, uint32_t weight) {
  if (IsNarrow(radius_)) {
    Accumulate(narrow_sums_ + radius_, row, weight, width_);
  } else {
    Accumulate(wide_sums_ + radius_, row, weight, width_);
  }
}

void BoxSums::Slide(const uint8_t* entering, const uint8_t* leaving) {
  if (IsNarrow(radius_)) {
    Kernels().slide_sums(narrow_sums_ + radius_, entering, leaving, width_);
    return;
  }
  uint32_t* sums = wide_sums_ + radius_;
  for (int x = 0; x < width_; ++x) sums[x] += static_cast<uint32_t>(entering[x]) - leaving[x];
}

void BoxSums::Emit(uint8_t* destination) {
  if (IsNarrow(radius_)) {
    RepeatBorders(narrow_sums_, width_, radius_);
    Kernels().mean_of_sums(destination, narrow_sums_, width_, radius_);
    return;
  }
  RepeatBorders(wide_sums_, width_, radius_);
  const uint32_t window = 2 * static_cast<uint32_t>(radius_) + 1;
  const uint32_t reciprocal = (1u << 22) / (window * window);
  uint32_t sum = 0;
  for (uint32_t i = 0; i + 1 < window; ++i) sum += wide_sums_[i];
  for (int x = 0; x < width_; ++x) {
    sum += wide_sums_[static_cast<uint32_t>(x) + window - 1];
    destination[x] = static_cast<uint8_t>(((1u << 21) + sum * reciprocal) >> 22);
    sum -= wide_sums_[x];
  }
}

}  // namespace pexo
