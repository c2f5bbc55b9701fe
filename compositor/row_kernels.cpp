// SPDX-License-Identifier: Apache-2.0
#include "row_kernels.h"

#include <cstring>

#include "plane.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "row_kernels.cpp"
#include <hwy/foreach_target.h>  // must come before highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace pexo::compositor::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// At most 32 elements, so that kRowPadding holds two vectors whatever the processor.
using D16 = hn::CappedTag<int16_t, 32>;
using DU16 = hn::RebindToUnsigned<D16>;
using D8 = hn::Rebind<uint8_t, D16>;
using D32 = hn::CappedTag<int32_t, 16>;
using V16 = hn::Vec<D16>;
constexpr D16 d16;
constexpr DU16 du16;
constexpr D8 d8;
constexpr D32 d32;

int Lanes() {
  return static_cast<int>(hn::Lanes(d16));
}

V16 LoadBytes(const uint8_t* p) {
  return hn::PromoteTo(d16, hn::LoadU(d8, p));
}
void StoreBytes(V16 v, uint8_t* p) {
  hn::StoreU(hn::DemoteTo(d8, v), d8, p);
}

// Bytes to Q7 and back; the latter saturates.
V16 BytesToQ7(V16 v) {
  return hn::ShiftLeft<7>(v);
}
V16 Q7ToBytes(V16 v) {
  return hn::ShiftRight<7>(hn::SaturatedAdd(v, hn::Set(d16, 64)));
}

// 0..255 to 0..32767.
V16 MaskToQ15(V16 mask) {
  return hn::Add(hn::ShiftLeft<7>(mask), hn::ShiftRight<1>(mask));
}

class Lerp {
 public:
  explicit Lerp(const LerpRow& row) : from_(row.from), to_(row.to), fraction_(hn::Set(d16, row.fraction)) {}
  V16 At(int x) const {
    const V16 from = hn::LoadU(d16, from_ + x);
    return hn::Add(from, hn::MulFixedPoint15(hn::SaturatedSub(hn::LoadU(d16, to_ + x), from), fraction_));
  }

 private:
  const int16_t* from_;
  const int16_t* to_;
  V16 fraction_;
};

// A byte around 128 as a factor of -1..1 for MulFixedPoint15.
V16 Centred(const uint8_t* p) {
  return hn::ShiftLeft<8>(hn::Sub(LoadBytes(p), hn::Set(d16, 128)));
}

void StretchRow(const StretchTables& tables, const int16_t* source, int16_t* out) {
  const hn::FixedTag<int16_t, 8> d;
  const hn::FixedTag<uint8_t, 16> bytes;
  if (tables.base == nullptr) {
    for (int x = 0; x < tables.width; ++x) {
      const int from = source[tables.index[x]];
      const int to = source[tables.index[x] + 1];
      out[x] = static_cast<int16_t>(from + (((to - from) * tables.fraction[x] + 16384) >> 15));
    }
    return;
  }
  for (int x = 0; x < tables.width; x += 8) {
    const int16_t* block = source + tables.base[x / 8];
    const auto shuffle = hn::LoadU(bytes, tables.shuffle + 2 * x);
    const auto from = hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(bytes, hn::LoadU(d, block)), shuffle));
    const auto to = hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(bytes, hn::LoadU(d, block + 1)), shuffle));
    const auto fraction = hn::LoadU(d, tables.fraction + x);
    hn::StoreU(hn::Add(from, hn::MulFixedPoint15(hn::SaturatedSub(to, from), fraction)), d, out + x);
  }
}

void ChromaTermRow(int width, const LerpRow& a_u, const LerpRow& a_v, const LerpRow& b, const uint8_t* u,
                   const uint8_t* v, int16_t* out) {
  const Lerp lerp_u(a_u), lerp_v(a_v), lerp_b(b);
  for (int x = 0; x < width; x += Lanes()) {
    const V16 from_u = hn::MulFixedPoint15(lerp_u.At(x), Centred(u + x));
    const V16 from_v = hn::MulFixedPoint15(lerp_v.At(x), Centred(v + x));
    hn::StoreU(hn::SaturatedAdd(hn::SaturatedAdd(from_u, from_v), lerp_b.At(x)), d16, out + x);
  }
}

void DoubleRow(int source_width, const int16_t* source, int16_t* out) {
  for (int x = 0; x < source_width; x += Lanes()) {
    const V16 here = hn::LoadU(d16, source + x);
    const V16 left = hn::ShiftRight<2>(hn::SaturatedSub(hn::LoadU(d16, source + x - 1), here));
    const V16 right = hn::ShiftRight<2>(hn::SaturatedSub(hn::LoadU(d16, source + x + 1), here));
    hn::StoreInterleaved2(hn::Add(here, left), hn::Add(here, right), d16, out + 2 * x);
  }
}

void RefineRow(int width, const LerpRow& a_y, const int16_t* near_term, const int16_t* far_term, const uint8_t* luma,
               uint8_t* mask) {
  // Levels: 0.3 and below become 0, 0.7 and above 255. 0.3 is 614 in Q11 and 0.4 is 820; 820 * 32 * 319 / 32768 is 255.
  const V16 lowest = hn::Set(d16, 614);
  const V16 span = hn::Set(d16, 820);
  const V16 gain = hn::Set(d16, 319);
  const Lerp lerp(a_y);
  for (int x = 0; x < width; x += Lanes()) {
    const V16 near = hn::LoadU(d16, near_term + x);
    const V16 far = hn::LoadU(d16, far_term + x);
    const V16 term = hn::Add(near, hn::ShiftRight<2>(hn::SaturatedSub(far, near)));
    const V16 sum = hn::SaturatedAdd(hn::MulFixedPoint15(lerp.At(x), Centred(luma + x)), term);
    const V16 level = hn::Min(hn::Max(hn::SaturatedSub(sum, lowest), hn::Zero(d16)), span);
    StoreBytes(hn::MulFixedPoint15(hn::ShiftLeft<5>(level), gain), mask + x);
  }
}

void LerpToBytes(int width, const LerpRow& row, uint8_t* out) {
  const Lerp lerp(row);
  for (int x = 0; x < width; x += Lanes()) StoreBytes(Q7ToBytes(lerp.At(x)), out + x);
}

void CalmRow(int width, const LerpRow& weight, const uint8_t* refined, uint8_t* memory) {
  const Lerp lerp(weight);
  const V16 top = hn::Set(d16, 255);
  for (int x = 0; x < width; x += Lanes()) {
    const V16 fresh = LoadBytes(refined + x);
    const V16 difference = hn::Sub(LoadBytes(memory + x), fresh);
    const V16 size = hn::Abs(difference);
    // weight * (1 - size / 255) * size, rounded down: size * (255 - size) is at most 16256.
    const V16 product = hn::Mul(size, hn::Sub(top, size));
    const auto weighted =
        hn::MulHigh(hn::BitCast(du16, hn::ShiftLeft<2>(product)), hn::BitCast(du16, hn::ShiftLeft<1>(lerp.At(x))));
    const V16 step = hn::BitCast(d16, hn::MulHigh(hn::ShiftRight<2>(weighted), hn::Set(du16, 257)));
    const V16 sign = hn::ShiftRight<15>(difference);
    StoreBytes(hn::Add(fresh, hn::Sub(hn::Xor(step, sign), sign)), memory + x);
  }
}

void ChromaMaskRow(int chroma_width, const uint8_t* mask0, const uint8_t* mask1, uint8_t* out) {
  const hn::Repartition<uint8_t, D16> bytes;
  const V16 top = hn::Set(d16, 255);
  for (int x = 0; x < chroma_width; x += Lanes()) {
    const V16 row0 = hn::BitCast(d16, hn::LoadU(bytes, mask0 + 2 * x));
    const V16 row1 = hn::BitCast(d16, hn::LoadU(bytes, mask1 + 2 * x));
    const V16 even0 = hn::And(row0, top), odd0 = hn::BitCast(d16, hn::ShiftRight<8>(hn::BitCast(du16, row0)));
    const V16 even1 = hn::And(row1, top), odd1 = hn::BitCast(d16, hn::ShiftRight<8>(hn::BitCast(du16, row1)));
    const V16 sum = hn::Add(hn::Add(even0, odd0), hn::Add(even1, odd1));
    const V16 mean = hn::ShiftRight<2>(hn::Add(sum, hn::Set(d16, 2)));
    const V16 highest = hn::Max(hn::Max(even0, odd0), hn::Max(even1, odd1));
    StoreBytes(hn::IfThenElse(hn::Eq(highest, top), top, mean), out + x);
  }
}

void BlendLerpRow(int width, const uint8_t* pixels, const uint8_t* mask, const LerpRow& background, uint8_t* out) {
  const Lerp lerp(background);
  const V16 top = hn::Set(d16, 255);
  for (int x = 0; x < width; x += Lanes()) {
    const V16 m = LoadBytes(mask + x);
    const V16 pixel = LoadBytes(pixels + x);
    if (hn::AllTrue(d16, hn::Eq(m, top))) {
      StoreBytes(pixel, out + x);
      continue;
    }
    // Whole bytes come back exactly: with a mask of 255 the step misses the difference by less than half a level.
    const V16 behind = lerp.At(x);
    const V16 step = hn::MulFixedPoint15(hn::Sub(BytesToQ7(pixel), behind), MaskToQ15(m));
    StoreBytes(Q7ToBytes(hn::Add(behind, step)), out + x);
  }
}

void BlendRow(int width, const uint8_t* pixels, const uint8_t* mask, const uint8_t* background, uint8_t* out) {
  const auto top = hn::Set(du16, 255);
  for (int x = 0; x < width; x += Lanes()) {
    const auto m = hn::PromoteTo(du16, hn::LoadU(d8, mask + x));
    const auto pixel = hn::PromoteTo(du16, hn::LoadU(d8, pixels + x));
    const auto behind = hn::PromoteTo(du16, hn::LoadU(d8, background + x));
    const auto sum = hn::Add(hn::Mul(pixel, m), hn::Mul(behind, hn::Sub(top, m)));
    // Rounded division by 255.
    const auto biased = hn::Add(sum, hn::Set(du16, 128));
    const auto quotient = hn::ShiftRight<8>(hn::Add(biased, hn::ShiftRight<8>(biased)));
    StoreBytes(hn::BitCast(d16, quotient), out + x);
  }
}

void ForegroundRow(int width, const uint8_t* pixels, const uint8_t* mask, const LerpRow& foreground,
                   const LerpRow& background, uint8_t* out) {
  const Lerp lerp_f(foreground), lerp_b(background);
  const V16 top = hn::Set(d16, 255);
  for (int x = 0; x < width; x += Lanes()) {
    const V16 m = LoadBytes(mask + x);
    const V16 pixel = LoadBytes(pixels + x);
    const auto whole = hn::Eq(m, top);
    if (hn::AllTrue(d16, whole)) {
      StoreBytes(pixel, out + x);
      continue;
    }
    const V16 q = MaskToQ15(m);
    const V16 front = lerp_f.At(x);
    const V16 behind = lerp_b.At(x);
    const V16 mixed = hn::Add(behind, hn::MulFixedPoint15(hn::Sub(front, behind), q));
    const V16 own = hn::MulFixedPoint15(hn::Sub(BytesToQ7(pixel), mixed), q);
    StoreBytes(hn::IfThenElse(whole, pixel, Q7ToBytes(hn::SaturatedAdd(front, own))), out + x);
  }
}

// Q15 with the least weight in it: 64 to 255 * 128 + 64, which is 8 * kWholeWeight.
template <Weighting kWeighting>
V16 WeightOf(const uint8_t* mask) {
  const V16 top = hn::Set(d16, 255);
  V16 weight = LoadBytes(mask);
  if (kWeighting == Weighting::kBackground) weight = hn::Sub(top, weight);
  if (kWeighting == Weighting::kSurelyBackground) {
    weight = hn::Max(hn::Sub(top, hn::ShiftLeft<1>(weight)), hn::Zero(d16));
  }
  return hn::Add(hn::ShiftLeft<7>(weight), hn::Set(d16, 64));
}

// The weighted luma of two rows into the sums; the mean of the two weights.
template <Weighting kWeighting>
V16 AddLuma(int x, const uint8_t* const mask[2], const uint8_t* const luma[2], const ColumnSums& sums) {
  const V16 weight0 = WeightOf<kWeighting>(mask[0] + x);
  const V16 weight1 = WeightOf<kWeighting>(mask[1] + x);
  const auto weights = hn::BitCast(du16, hn::Add(hn::ShiftRight<3>(weight0), hn::ShiftRight<3>(weight1)));
  hn::StoreU(hn::Add(hn::LoadU(du16, sums.weight + x), weights), du16, sums.weight + x);
  const V16 pixels = hn::Add(hn::MulFixedPoint15(weight0, hn::ShiftLeft<4>(LoadBytes(luma[0] + x))),
                             hn::MulFixedPoint15(weight1, hn::ShiftLeft<4>(LoadBytes(luma[1] + x))));
  hn::StoreU(hn::Add(hn::LoadU(du16, sums.luma + x), hn::BitCast(du16, pixels)), du16, sums.luma + x);
  return hn::BitCast(d16, hn::AverageRound(hn::BitCast(du16, weight0), hn::BitCast(du16, weight1)));
}

void AddChroma(V16 weight, const uint8_t* pixels, int16_t* sums) {
  const V16 offset = hn::ShiftLeft<4>(hn::Sub(LoadBytes(pixels), hn::Set(d16, 128)));
  hn::StoreU(hn::Add(hn::LoadU(d16, sums), hn::MulFixedPoint15(weight, offset)), d16, sums);
}

template <Weighting kWeighting>
void AddRowPairAs(int width, const uint8_t* const mask[2], const uint8_t* const luma[2], const uint8_t* u,
                  const uint8_t* v, const ColumnSums& sums) {
  const int lanes = Lanes();
  for (int x = 0; x < width; x += 2 * lanes) {
    const V16 left = AddLuma<kWeighting>(x, mask, luma, sums);
    const V16 right = AddLuma<kWeighting>(x + lanes, mask, luma, sums);
    const auto even = hn::BitCast(du16, hn::ConcatEven(d16, right, left));
    const auto odd = hn::BitCast(du16, hn::ConcatOdd(d16, right, left));
    const V16 weight = hn::BitCast(d16, hn::AverageRound(even, odd));
    AddChroma(weight, u + x / 2, sums.u + x / 2);
    AddChroma(weight, v + x / 2, sums.v + x / 2);
  }
}

void AddRowPair(int width, Weighting weighting, const uint8_t* const mask[2], const uint8_t* const luma[2],
                const uint8_t* u, const uint8_t* v, const ColumnSums& sums) {
  switch (weighting) {
    case Weighting::kSurelyBackground:
      return AddRowPairAs<Weighting::kSurelyBackground>(width, mask, luma, u, v, sums);
    case Weighting::kBackground:
      return AddRowPairAs<Weighting::kBackground>(width, mask, luma, u, v, sums);
    case Weighting::kForeground:
      return AddRowPairAs<Weighting::kForeground>(width, mask, luma, u, v, sums);
  }
}

template <typename T>
void ReduceColumnsOf(int width, int group, float scale, T* columns, int32_t* scratch, float* sums) {
  const int lanes = static_cast<int>(hn::Lanes(d32));
  const hn::Rebind<T, D32> narrow;
  // The padding takes part in the sums.
  const int padded = PaddedWidth(width);
  std::memset(columns + width, 0, static_cast<size_t>(padded - width) * sizeof(T));
  for (int x = 0; x < padded; x += lanes) {
    hn::StoreU(hn::PromoteTo(d32, hn::LoadU(narrow, columns + x)), d32, scratch + x);
  }
  std::memset(columns, 0, static_cast<size_t>(padded) * sizeof(T));
  int count = (width + group - 1) / group * group;
  for (; group > 1; group /= 2) {
    count /= 2;
    for (int x = 0; x < count; x += lanes) {
      const auto low = hn::LoadU(d32, scratch + 2 * x);
      const auto high = hn::LoadU(d32, scratch + 2 * x + lanes);
      hn::StoreU(hn::Add(hn::ConcatEven(d32, high, low), hn::ConcatOdd(d32, high, low)), d32, scratch + x);
    }
  }
  const hn::Rebind<float, D32> df;
  const auto factor = hn::Set(df, scale);
  for (int x = 0; x < count; x += lanes) {
    const auto value = hn::Mul(hn::ConvertTo(df, hn::LoadU(d32, scratch + x)), factor);
    hn::StoreU(hn::Add(hn::LoadU(df, sums + x), value), df, sums + x);
  }
}

void ReduceUnsigned(int width, int group, float scale, uint16_t* columns, int32_t* scratch, float* sums) {
  ReduceColumnsOf(width, group, scale, columns, scratch, sums);
}
void ReduceSigned(int width, int group, float scale, int16_t* columns, int32_t* scratch, float* sums) {
  ReduceColumnsOf(width, group, scale, columns, scratch, sums);
}

}  // namespace pexo::compositor::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pexo::compositor {

HWY_EXPORT(StretchRow);
HWY_EXPORT(ChromaTermRow);
HWY_EXPORT(DoubleRow);
HWY_EXPORT(RefineRow);
HWY_EXPORT(LerpToBytes);
HWY_EXPORT(CalmRow);
HWY_EXPORT(ChromaMaskRow);
HWY_EXPORT(BlendLerpRow);
HWY_EXPORT(BlendRow);
HWY_EXPORT(ForegroundRow);
HWY_EXPORT(AddRowPair);
HWY_EXPORT(ReduceUnsigned);
HWY_EXPORT(ReduceSigned);

void StretchRow(const StretchTables& tables, const int16_t* source, int16_t* out) {
  HWY_DYNAMIC_DISPATCH(StretchRow)(tables, source, out);
}
void ChromaTermRow(int width, const LerpRow& a_u, const LerpRow& a_v, const LerpRow& b, const uint8_t* u,
                   const uint8_t* v, int16_t* out) {
  HWY_DYNAMIC_DISPATCH(ChromaTermRow)(width, a_u, a_v, b, u, v, out);
}
void DoubleRow(int source_width, const int16_t* source, int16_t* out) {
  HWY_DYNAMIC_DISPATCH(DoubleRow)(source_width, source, out);
}
void RefineRow(int width, const LerpRow& a_y, const int16_t* near_term, const int16_t* far_term, const uint8_t* luma,
               uint8_t* mask) {
  HWY_DYNAMIC_DISPATCH(RefineRow)(width, a_y, near_term, far_term, luma, mask);
}
void LerpToBytes(int width, const LerpRow& row, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(LerpToBytes)(width, row, out);
}
void CalmRow(int width, const LerpRow& weight, const uint8_t* refined, uint8_t* memory) {
  HWY_DYNAMIC_DISPATCH(CalmRow)(width, weight, refined, memory);
}
void ChromaMaskRow(int chroma_width, const uint8_t* mask0, const uint8_t* mask1, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(ChromaMaskRow)(chroma_width, mask0, mask1, out);
}
void BlendLerpRow(int width, const uint8_t* pixels, const uint8_t* mask, const LerpRow& background, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(BlendLerpRow)(width, pixels, mask, background, out);
}
void BlendRow(int width, const uint8_t* pixels, const uint8_t* mask, const uint8_t* background, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(BlendRow)(width, pixels, mask, background, out);
}
void ForegroundRow(int width, const uint8_t* pixels, const uint8_t* mask, const LerpRow& foreground,
                   const LerpRow& background, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(ForegroundRow)(width, pixels, mask, foreground, background, out);
}
void AddRowPair(int width, Weighting weighting, const uint8_t* const mask[2], const uint8_t* const luma[2],
                const uint8_t* u, const uint8_t* v, const ColumnSums& sums) {
  HWY_DYNAMIC_DISPATCH(AddRowPair)(width, weighting, mask, luma, u, v, sums);
}
void ReduceColumns(int width, int group, float scale, uint16_t* columns, int32_t* scratch, float* sums) {
  HWY_DYNAMIC_DISPATCH(ReduceUnsigned)(width, group, scale, columns, scratch, sums);
}
void ReduceColumns(int width, int group, float scale, int16_t* columns, int32_t* scratch, float* sums) {
  HWY_DYNAMIC_DISPATCH(ReduceSigned)(width, group, scale, columns, scratch, sums);
}

}  // namespace pexo::compositor
#endif
