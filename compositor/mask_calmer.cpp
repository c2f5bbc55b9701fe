// SPDX-License-Identifier: Apache-2.0
#include "mask_calmer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace pexo::compositor {
namespace {

constexpr float kMaxWeight = 0.9f;
constexpr float kChangeScale = 2.5f;  // levels
constexpr int kDifferenceRadius = 1;
constexpr int kChangeRadius = 7;

// e^-x for x >= 0 as (1 + x / 1024)^-1024, within 0.03 %: the standard library's own may differ between processors.
float ExpOfMinus(float x) {
  float value = 1 / (1 + x / 1024);
  for (int i = 0; i < 10; ++i) value *= value;
  return value;
}

void Copy(const Plane<float>& source, Plane<float>& out) {
  out.Resize(source.width(), source.height());
  for (int y = 0; y < source.height(); ++y) std::copy_n(source.Row(y), source.width(), out.Row(y));
}

}  // namespace

void MaskCalmer::Open(const Guide& guide, int width, int height, double strength) {
  const bool same_size = mask_.width() == width && mask_.height() == height && before_.y.width() == guide.y.width() &&
                         before_.y.height() == guide.y.height();
  mask_.Resize(width, height);
  calms_ = has_memory_ && same_size && strength > 0;
  if (calms_) {
    WeighLikeness(guide, static_cast<float>(strength));
    const int w = weights_.width(), h = weights_.height();
    enlarger_.Resize(w, h, width, height, {static_cast<double>(width) / w, static_cast<double>(height) / h});
    enlarger_.Open(weights_);
  }
  Copy(guide.y, before_.y);
  Copy(guide.u, before_.u);
  Copy(guide.v, before_.v);
  has_memory_ = true;
}

void MaskCalmer::WeighLikeness(const Guide& guide, float strength) {
  const int width = guide.y.width(), height = guide.y.height();
  difference_.Resize(width, height);
  change_.Resize(width, height);
  for (const auto plane : {&Guide::y, &Guide::u, &Guide::v}) {
    const bool is_first = plane == &Guide::y;
    for (int y = 0; y < height; ++y) {
      const float* now = (guide.*plane).Row(y);
      const float* then = (before_.*plane).Row(y);
      float* out = difference_.Row(y);
      for (int x = 0; x < width; ++x) out[x] = now[x] - then[x];
    }
    box_.Filter(difference_, kDifferenceRadius, difference_);
    for (int y = 0; y < height; ++y) {
      const float* row = difference_.Row(y);
      float* out = change_.Row(y);
      for (int x = 0; x < width; ++x) out[x] = is_first ? std::abs(row[x]) : out[x] + std::abs(row[x]);
    }
  }
  box_.Filter(change_, kChangeRadius, change_);
  weights_.Resize(width, height);
  for (int y = 0; y < height; ++y) {
    const float* row = change_.Row(y);
    int16_t* out = weights_.Row(y);
    for (int x = 0; x < width; ++x) {
      const float relative = row[x] * (255 / kChangeScale);
      out[x] = static_cast<int16_t>(strength * kMaxWeight * 32767 * ExpOfMinus(relative * relative));
    }
  }
}

void MaskCalmer::Row(int y, const uint8_t* refined) {
  if (calms_) {
    CalmRow(mask_.width(), enlarger_.Row(y), refined, mask_.Row(y));
  } else {
    std::memcpy(mask_.Row(y), refined, static_cast<size_t>(mask_.width()));
  }
}

}  // namespace pexo::compositor
