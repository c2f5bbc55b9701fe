// SPDX-License-Identifier: Apache-2.0
// The row kernels on 16 bytes of SSE2, which every 64-bit x86 processor has.
#include <emmintrin.h>

#include "kernels/vector_kernels.h"

namespace pexo {
namespace {

struct Sse2 {
  using U8 = __m128i;
  using U16 = __m128i;
  static constexpr int kBytes = 16;

  static U8 Load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  static void Store(uint8_t* p, U8 v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
  static U16 Load16(const uint16_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  static void Store16(uint16_t* p, U16 v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
  static U16 LoadWide(const uint8_t* p) { return WidenLow(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))); }
  static U8 Splat(uint8_t v) { return _mm_set1_epi8(static_cast<char>(v)); }
  static U16 Splat16(uint16_t v) { return _mm_set1_epi16(static_cast<int16_t>(v)); }

  static U8 Add(U8 a, U8 b) { return _mm_add_epi8(a, b); }
  static U8 Sub(U8 a, U8 b) { return _mm_sub_epi8(a, b); }
  static U8 SubSaturating(U8 a, U8 b) { return _mm_subs_epu8(a, b); }
  static U8 And(U8 a, U8 b) { return _mm_and_si128(a, b); }
  static U8 Or(U8 a, U8 b) { return _mm_or_si128(a, b); }
  static U8 Xor(U8 a, U8 b) { return _mm_xor_si128(a, b); }
  static U8 Average(U8 a, U8 b) { return _mm_avg_epu8(a, b); }
  static U8 GreaterThan(U8 a, U8 b) {
    return Xor(_mm_cmpeq_epi8(_mm_subs_epu8(a, b), _mm_setzero_si128()), Splat(255));
  }
  static U8 Select(U8 mask, U8 yes, U8 no) { return Or(And(mask, yes), _mm_andnot_si128(mask, no)); }
  static int SumOfLanes(U8 v) {
    const __m128i sums = _mm_sad_epu8(v, _mm_setzero_si128());
    return _mm_cvtsi128_si32(sums) + _mm_cvtsi128_si32(_mm_srli_si128(sums, 8));
  }
  // Each lane's right neighbour; the last lane's own value in the last.
  static U8 NextLane(U8 v) {
    const __m128i last = _mm_set_epi8(-1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    return Or(_mm_srli_si128(v, 1), And(v, last));
  }

  static U16 Add16(U16 a, U16 b) { return _mm_add_epi16(a, b); }
  static U16 Sub16(U16 a, U16 b) { return _mm_sub_epi16(a, b); }
  static U16 MulHigh16(U16 a, U16 b) { return _mm_mulhi_epu16(a, b); }
  template <int kShift>
  static U16 ShiftRight16(U16 v) {
    return _mm_srli_epi16(v, kShift);
  }
  template <int kShift>
  static U16 ShiftLeft16(U16 v) {
    return _mm_slli_epi16(v, kShift);
  }
  static U16 ShiftRight16By(U16 v, int shift) { return _mm_srl_epi16(v, _mm_cvtsi32_si128(shift)); }

  static U16 WidenLow(U8 v) { return _mm_unpacklo_epi8(v, _mm_setzero_si128()); }
  static U16 WidenHigh(U8 v) { return _mm_unpackhi_epi8(v, _mm_setzero_si128()); }
  static U8 NarrowHalves(U16 low, U16 high) { return _mm_packus_epi16(low, high); }
  static U8 Narrow(U16 first, U16 second) { return _mm_packus_epi16(first, second); }
  static U16 SumPairs(U8 v) { return Add16(And(v, Splat16(255)), ShiftRight16<8>(v)); }

  static void LoadPairs(const uint8_t* p, U8& even, U8& odd) {
    const __m128i a = Load(p);
    const __m128i b = Load(p + 16);
    even = _mm_packus_epi16(And(a, Splat16(255)), And(b, Splat16(255)));
    odd = _mm_packus_epi16(ShiftRight16<8>(a), ShiftRight16<8>(b));
  }
  static void StorePairs(uint8_t* p, U8 even, U8 odd) {
    Store(p, _mm_unpacklo_epi8(even, odd));
    Store(p + 16, _mm_unpackhi_epi8(even, odd));
  }

  static U16 Blend16(U16 blurred, U16 sharp, U16 mask) {
    const U16 rest = Sub16(Splat16(255), mask);
    return ShiftRight16<8>(Add16(_mm_mullo_epi16(blurred, rest), _mm_mullo_epi16(sharp, mask)));
  }
  static U8 Blend(U8 blurred, U8 sharp, U8 mask) {
    return NarrowHalves(Blend16(WidenLow(blurred), WidenLow(sharp), WidenLow(mask)),
                        Blend16(WidenHigh(blurred), WidenHigh(sharp), WidenHigh(mask)));
  }
};

}  // namespace

void FillSse2Kernels(KernelTable& table) {
  VectorKernels<Sse2>::Override(table);
}

}  // namespace pexo
