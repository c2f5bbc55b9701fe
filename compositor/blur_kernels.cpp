// SPDX-License-Identifier: Apache-2.0
#include "blur_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "blur_kernels.cpp"
#include <hwy/foreach_target.h>  // must come before highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace pexo::compositor::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::CappedTag<float, 16>;
using VF = hn::Vec<DF>;
constexpr DF df;
constexpr hn::FixedTag<float, 4> pixel;

int FloatLanes() {
  return static_cast<int>(hn::Lanes(df));
}

void WeighRow(int width, const float* above, const float* weight, const float* below, const float* luma, const float* u,
              const float* v, float* pixels) {
  for (int x = 0; x < width; x += FloatLanes()) {
    VF least = hn::LoadU(df, weight + x);
    VF share = hn::Set(df, 1.0f);
    if (above != nullptr) {
      const VF whole = least;
      for (const float* row : {above, weight, below}) {
        const VF sides = hn::Min(hn::LoadU(df, row + x - 1), hn::LoadU(df, row + x + 1));
        least = hn::Min(least, hn::Min(sides, hn::LoadU(df, row + x)));
      }
      // The padding has no weight at all.
      share = hn::Div(least, hn::Max(whole, hn::Set(df, 1e-6f)));
    }
    hn::StoreInterleaved4(least, hn::Mul(hn::LoadU(df, luma + x), share), hn::Mul(hn::LoadU(df, u + x), share),
                          hn::Mul(hn::LoadU(df, v + x), share), df, pixels + 4 * x);
  }
}

void BoxRows(int width, int radius, const float* const in[4], float* const out[4]) {
  // Four independent sums, because each waits for its own last addition.
  auto sum0 = hn::Zero(pixel), sum1 = sum0, sum2 = sum0, sum3 = sum0;
  const auto add = [&](int x) {
    sum0 = hn::Add(sum0,
                   hn::Sub(hn::LoadU(pixel, in[0] + 4 * (x + radius)), hn::LoadU(pixel, in[0] + 4 * (x - radius - 1))));
    sum1 = hn::Add(sum1,
                   hn::Sub(hn::LoadU(pixel, in[1] + 4 * (x + radius)), hn::LoadU(pixel, in[1] + 4 * (x - radius - 1))));
    sum2 = hn::Add(sum2,
                   hn::Sub(hn::LoadU(pixel, in[2] + 4 * (x + radius)), hn::LoadU(pixel, in[2] + 4 * (x - radius - 1))));
    sum3 = hn::Add(sum3,
                   hn::Sub(hn::LoadU(pixel, in[3] + 4 * (x + radius)), hn::LoadU(pixel, in[3] + 4 * (x - radius - 1))));
  };
  for (int x = 0; x < radius; ++x) {
    sum0 = hn::Add(sum0, hn::LoadU(pixel, in[0] + 4 * x));
    sum1 = hn::Add(sum1, hn::LoadU(pixel, in[1] + 4 * x));
    sum2 = hn::Add(sum2, hn::LoadU(pixel, in[2] + 4 * x));
    sum3 = hn::Add(sum3, hn::LoadU(pixel, in[3] + 4 * x));
  }
  for (int x = 0; x < width; ++x) {
    add(x);
    hn::StoreU(sum0, pixel, out[0] + 4 * x);
    hn::StoreU(sum1, pixel, out[1] + 4 * x);
    hn::StoreU(sum2, pixel, out[2] + 4 * x);
    hn::StoreU(sum3, pixel, out[3] + 4 * x);
  }
}

void SlideRow(int count, const float* entering, const float* leaving, float* sums, float* out) {
  for (int x = 0; x < count; x += FloatLanes()) {
    const VF change = hn::Sub(hn::LoadU(df, entering + x), hn::LoadU(df, leaving + x));
    const VF sum = hn::Add(hn::LoadU(df, sums + x), change);
    hn::StoreU(sum, df, sums + x);
    hn::StoreU(sum, df, out + x);
  }
}

void DivideRow(int width, const float* pixels, int16_t* luma, int16_t* u, int16_t* v) {
  const hn::Rebind<int16_t, DF> narrow;
  const hn::Rebind<int32_t, DF> whole;
  const auto store = [&](VF level, int16_t* out) {
    const VF bounded = hn::Min(hn::Max(level, hn::Zero(df)), hn::Set(df, 255.0f));
    const VF q7 = hn::Add(hn::Mul(bounded, hn::Set(df, 128.0f)), hn::Set(df, 0.5f));
    hn::StoreU(hn::DemoteTo(narrow, hn::ConvertTo(whole, q7)), narrow, out);
  };
  const VF middle = hn::Set(df, 128.0f);
  for (int x = 0; x < width; x += FloatLanes()) {
    VF weight, y, from_u, from_v;
    hn::LoadInterleaved4(df, pixels + 4 * x, weight, y, from_u, from_v);
    const VF inverse = hn::Div(hn::Set(df, 1.0f), hn::Max(weight, hn::Set(df, 1e-6f)));
    store(hn::Mul(y, inverse), luma + x);
    store(hn::Add(hn::Mul(from_u, inverse), middle), u + x);
    store(hn::Add(hn::Mul(from_v, inverse), middle), v + x);
  }
}

}  // namespace pexo::compositor::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pexo::compositor {

HWY_EXPORT(WeighRow);
HWY_EXPORT(BoxRows);
HWY_EXPORT(SlideRow);
HWY_EXPORT(DivideRow);

void WeighRow(int width, const float* above, const float* weight, const float* below, const float* luma, const float* u,
              const float* v, float* pixels) {
  HWY_DYNAMIC_DISPATCH(WeighRow)(width, above, weight, below, luma, u, v, pixels);
}
void BoxRows(int width, int radius, const float* const in[4], float* const out[4]) {
  HWY_DYNAMIC_DISPATCH(BoxRows)(width, radius, in, out);
}
void SlideRow(int count, const float* entering, const float* leaving, float* sums, float* out) {
  HWY_DYNAMIC_DISPATCH(SlideRow)(count, entering, leaving, sums, out);
}
void DivideRow(int width, const float* pixels, int16_t* luma, int16_t* u, int16_t* v) {
  HWY_DYNAMIC_DISPATCH(DivideRow)(width, pixels, luma, u, v);
}

}  // namespace pexo::compositor
#endif
