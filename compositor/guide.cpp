// SPDX-License-Identifier: Apache-2.0
#include "guide.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "guide.cpp"
#include <hwy/foreach_target.h>  // must come before highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace pexo::compositor::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::CappedTag<float, 16>;
using VF = hn::Vec<DF>;
constexpr DF df;

// No fused multiply-add: it would make the results differ between processors.
VF MultiplyAdd(VF a, VF b, VF c) {
  return hn::Add(hn::Mul(a, b), c);
}

// out = scale * the sum over `count` rows, each the one `step` elements on.
void SumRows(int width, const float* const* rows, int count, float scale, float* out) {
  const int lanes = static_cast<int>(hn::Lanes(df));
  const VF factor = hn::Set(df, scale);
  for (int x = 0; x < width; x += lanes) {
    VF sum = hn::LoadU(df, rows[0] + x);
    for (int i = 1; i < count; ++i) sum = hn::Add(sum, hn::LoadU(df, rows[i] + x));
    hn::StoreU(hn::Mul(sum, factor), df, out + x);
  }
}

void MultiplyRow(int width, const float* a, const float* b, float* out) {
  for (int x = 0; x < width; x += static_cast<int>(hn::Lanes(df))) {
    hn::StoreU(hn::Mul(hn::LoadU(df, a + x), hn::LoadU(df, b + x)), df, out + x);
  }
}

// Solves (C + diag) a = c in each pixel by C = L D L^T. means: Y, U, V, p, YY, YU, YV, UU, UV, VV, Yp, Up, Vp.
void SolveRow(int width, const float* const* means, float* a_y, float* a_u, float* a_v, float* b) {
  constexpr float kLumaRegulariser = 3e-4f, kChromaRegulariser = 1e-4f;
  for (int x = 0; x < width; x += static_cast<int>(hn::Lanes(df))) {
    VF m[13];
    for (int i = 0; i < 13; ++i) m[i] = hn::LoadU(df, means[i] + x);
    const auto covariance = [&](int product, int first, int second) {
      return hn::Sub(m[product], hn::Mul(m[first], m[second]));
    };
    const VF yy = hn::Add(covariance(4, 0, 0), hn::Set(df, kLumaRegulariser));
    const VF yu = covariance(5, 0, 1), yv = covariance(6, 0, 2);
    const VF uu = hn::Add(covariance(7, 1, 1), hn::Set(df, kChromaRegulariser)), uv = covariance(8, 1, 2);
    const VF vv = hn::Add(covariance(9, 2, 2), hn::Set(df, kChromaRegulariser));
    const VF yp = covariance(10, 0, 3), up = covariance(11, 1, 3), vp = covariance(12, 2, 3);

    const VF floor = hn::Set(df, kChromaRegulariser);  // of D, whatever the rounding
    const VF inverse_y = hn::Div(hn::Set(df, 1.0f), hn::Max(yy, floor));
    const VF l_uy = hn::Mul(yu, inverse_y), l_vy = hn::Mul(yv, inverse_y);
    const VF inverse_u = hn::Div(hn::Set(df, 1.0f), hn::Max(hn::Sub(uu, hn::Mul(l_uy, yu)), floor));
    const VF uv_rest = hn::Sub(uv, hn::Mul(l_uy, yv));
    const VF l_vu = hn::Mul(uv_rest, inverse_u);
    const VF d_v = hn::Sub(hn::Sub(vv, hn::Mul(l_vy, yv)), hn::Mul(l_vu, uv_rest));
    const VF rest_u = hn::Sub(up, hn::Mul(l_uy, yp));
    const VF rest_v = hn::Sub(hn::Sub(vp, hn::Mul(l_vy, yp)), hn::Mul(l_vu, rest_u));
    const VF v = hn::Div(rest_v, hn::Max(d_v, floor));
    const VF u = hn::Sub(hn::Mul(rest_u, inverse_u), hn::Mul(l_vu, v));
    const VF y = hn::Sub(hn::Sub(hn::Mul(yp, inverse_y), hn::Mul(l_uy, u)), hn::Mul(l_vy, v));
    hn::StoreU(y, df, a_y + x);
    hn::StoreU(u, df, a_u + x);
    hn::StoreU(v, df, a_v + x);
    hn::StoreU(hn::Sub(m[3], MultiplyAdd(y, m[0], MultiplyAdd(u, m[1], hn::Mul(v, m[2])))), df, b + x);
  }
}

}  // namespace pexo::compositor::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
#include <algorithm>
#include <array>

namespace pexo::compositor {
namespace {

HWY_EXPORT(SumRows);
HWY_EXPORT(MultiplyRow);
HWY_EXPORT(SolveRow);

constexpr int kRadius = 3;
constexpr int kMaxRadius = 7;

void CentreChroma(const Plane<uint8_t>& source, float scale, Plane<float>& out) {
  out.Resize(source.width(), source.height());
  for (int y = 0; y < source.height(); ++y) {
    const uint8_t* row = source.Row(y);
    float* to = out.Row(y);
    for (int x = 0; x < source.width(); ++x) to[x] = static_cast<float>(row[x] - 128) * scale;
  }
}

// out = (the mean of 2x2 - offset) * scale
void Halve(const Plane<uint8_t>& source, float offset, float scale, Plane<float>& out) {
  out.Resize(source.width() / 2, source.height() / 2);
  for (int y = 0; y < out.height(); ++y) {
    const uint8_t* upper = source.Row(2 * y);
    const uint8_t* lower = source.Row(2 * y + 1);
    float* to = out.Row(y);
    for (int x = 0; x < out.width(); ++x) {
      const int sum = upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1];
      to[x] = (static_cast<float>(sum) - 4 * offset) * (scale / 4);
    }
  }
}

}  // namespace

void MakeGuide(const PlanarPicture& picture, Guide& guide) {
  const bool full = picture.range == Range::kFull;
  Halve(picture.y, 128, 1.0f / (full ? 255.0f : 219.0f), guide.y);
  const float chroma_scale = 1.0f / (full ? 255.0f : 224.0f);
  CentreChroma(picture.u, chroma_scale, guide.u);
  CentreChroma(picture.v, chroma_scale, guide.v);
}

void HalveMask(const Plane<uint8_t>& mask, Plane<float>& out) {
  Halve(mask, 0, 1.0f / 255, out);
}

void BoxMean::Filter(const Plane<float>& source, int radius, Plane<float>& out) {
  const int width = source.width(), height = source.height();
  const int count = 2 * radius + 1;
  std::array<const float*, 2 * kMaxRadius + 1> taps;
  // Columns first, into rows with a margin of `radius` on either side.
  sums_.Resize(width + 2 * kMaxRadius, height);
  for (int y = 0; y < height; ++y) {
    for (int i = 0; i < count; ++i) {
      taps[static_cast<size_t>(i)] = source.Row(std::clamp(y + i - radius, 0, height - 1));
    }
    float* row = sums_.Row(y);
    HWY_DYNAMIC_DISPATCH(SumRows)(width, taps.data(), count, 1.0f / static_cast<float>(count), row + kMaxRadius);
    std::fill_n(row, kMaxRadius, row[kMaxRadius]);
    std::fill_n(row + kMaxRadius + width, kMaxRadius, row[kMaxRadius + width - 1]);
  }
  out.Resize(width, height);
  for (int y = 0; y < height; ++y) {
    for (int i = 0; i < count; ++i) taps[static_cast<size_t>(i)] = sums_.Row(y) + kMaxRadius - radius + i;
    HWY_DYNAMIC_DISPATCH(SumRows)(width, taps.data(), count, 1.0f / static_cast<float>(count), out.Row(y));
  }
}

void GuidedFilter::Fit(const Guide& guide, const Plane<float>& mask, LinearModel& model) {
  const int width = mask.width(), height = mask.height();
  const Plane<float>* factors[] = {&guide.y, &guide.u, &guide.v, &mask};
  constexpr int kPairs[][2] = {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}, {0, 3}, {1, 3}, {2, 3}};
  for (int i = 0; i < kProducts; ++i) {
    if (i < 4) {
      box_.Filter(*factors[i], kRadius, means_[i]);
      continue;
    }
    const auto [first, second] = kPairs[i - 4];
    means_[i].Resize(width, height);
    for (int y = 0; y < height; ++y) {
      HWY_DYNAMIC_DISPATCH(MultiplyRow)(width, factors[first]->Row(y), factors[second]->Row(y), means_[i].Row(y));
    }
    box_.Filter(means_[i], kRadius, means_[i]);
  }
  for (Plane<float>* plane : {&model.a_y, &model.a_u, &model.a_v, &model.b}) plane->Resize(width, height);
  for (int y = 0; y < height; ++y) {
    const float* rows[kProducts];
    for (int i = 0; i < kProducts; ++i) rows[i] = means_[i].Row(y);
    HWY_DYNAMIC_DISPATCH(SolveRow)
    (width, rows, model.a_y.Row(y), model.a_u.Row(y), model.a_v.Row(y), model.b.Row(y));
  }
  for (Plane<float>* plane : {&model.a_y, &model.a_u, &model.a_v, &model.b}) box_.Filter(*plane, kRadius, *plane);
}

}  // namespace pexo::compositor
#endif
