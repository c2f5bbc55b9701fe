// SPDX-License-Identifier: Apache-2.0
// The row kernels on 32 bytes of AVX2. Unpacking and packing work within the two 16-byte halves, so widening and
// narrowing by halves cancel out; where the order of a whole row matters, the quarters are put in order.
#include <immintrin.h>

#include "kernels/vector_kernels.h"

namespace pexo {
namespace {

struct Avx2 {
  using U8 = __m256i;
  using U16 = __m256i;
  static constexpr int kBytes = 32;

  static U8 Load(const uint8_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  static void Store(uint8_t* p, U8 v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
  static U16 Load16(const uint16_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  static void Store16(uint16_t* p, U16 v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
  static U16 LoadWide(const uint8_t* p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
  }
  static U8 Splat(uint8_t v) { return _mm256_set1_epi8(static_cast<char>(v)); }
  static U16 Splat16(uint16_t v) { return _mm256_set1_epi16(static_cast<int16_t>(v)); }

  static U8 Add(U8 a, U8 b) { return _mm256_add_epi8(a, b); }
  static U8 Sub(U8 a, U8 b) { return _mm256_sub_epi8(a, b); }
  static U8 SubSaturating(U8 a, U8 b) { return _mm256_subs_epu8(a, b); }
  static U8 And(U8 a, U8 b) { return _mm256_and_si256(a, b); }
  static U8 Or(U8 a, U8 b) { return _mm256_or_si256(a, b); }
  static U8 Xor(U8 a, U8 b) { return _mm256_xor_si256(a, b); }
  static U8 Average(U8 a, U8 b) { return _mm256_avg_epu8(a, b); }
  static U8 GreaterThan(U8 a, U8 b) {
    return Xor(_mm256_cmpeq_epi8(_mm256_subs_epu8(a, b), _mm256_setzero_si256()), Splat(255));
  }
  static U8 Select(U8 mask, U8 yes, U8 no) { return _mm256_blendv_epi8(no, yes, mask); }
  static int SumOfLanes(U8 v) {
    const __m256i sums = _mm256_sad_epu8(v, _mm256_setzero_si256());
    const __m128i halves = _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
    return _mm_cvtsi128_si32(halves) + _mm_extract_epi32(halves, 2);
  }
  // Each lane's right neighbour; the last lane's own value in the last.
  static U8 NextLane(U8 v) {
    const __m256i last = _mm256_broadcastb_epi8(_mm_srli_si128(_mm256_extracti128_si256(v, 1), 15));
    return _mm256_alignr_epi8(_mm256_permute2x128_si256(v, last, 0x21), v, 1);
  }

  static U16 Add16(U16 a, U16 b) { return _mm256_add_epi16(a, b); }
  static U16 Sub16(U16 a, U16 b) { return _mm256_sub_epi16(a, b); }
  static U16 MulHigh16(U16 a, U16 b) { return _mm256_mulhi_epu16(a, b); }
  template <int kShift>
  static U16 ShiftRight16(U16 v) {
    return _mm256_srli_epi16(v, kShift);
  }
  template <int kShift>
  static U16 ShiftLeft16(U16 v) {
    return _mm256_slli_epi16(v, kShift);
  }
  static U16 ShiftRight16By(U16 v, int shift) { return _mm256_srl_epi16(v, _mm_cvtsi32_si128(shift)); }

  static U16 WidenLow(U8 v) { return _mm256_unpacklo_epi8(v, _mm256_setzero_si256()); }
  static U16 WidenHigh(U8 v) { return _mm256_unpackhi_epi8(v, _mm256_setzero_si256()); }
  static U8 NarrowHalves(U16 low, U16 high) { return _mm256_packus_epi16(low, high); }
  static U8 Narrow(U16 first, U16 second) { return InOrder(_mm256_packus_epi16(first, second)); }
  static U16 SumPairs(U8 v) { return _mm256_maddubs_epi16(v, _mm256_set1_epi8(1)); }

  static void LoadPairs(const uint8_t* p, U8& even, U8& odd) {
    const __m256i a = Load(p);
    const __m256i b = Load(p + 32);
    even = Narrow(And(a, Splat16(255)), And(b, Splat16(255)));
    odd = Narrow(ShiftRight16<8>(a), ShiftRight16<8>(b));
  }
  static void StorePairs(uint8_t* p, U8 even, U8 odd) {
    const __m256i low = _mm256_unpacklo_epi8(even, odd);
    const __m256i high = _mm256_unpackhi_epi8(even, odd);
    Store(p, _mm256_permute2x128_si256(low, high, 0x20));
    Store(p + 32, _mm256_permute2x128_si256(low, high, 0x31));
  }

  // Pixels minus 128 times weights that add up to 255 stay within 16 signed bits: 255 * 128 = 32640, which then makes
  // up for the 128 again.
  static U16 WeightedSum(U8 weights, U8 centred_pixels) {
    return ShiftRight16<8>(Add16(_mm256_maddubs_epi16(weights, centred_pixels), Splat16(32640)));
  }
  static U8 Blend(U8 blurred, U8 sharp, U8 mask) {
    const U8 rest = Xor(mask, Splat(255));
    const U8 b = Xor(blurred, Splat(128));
    const U8 s = Xor(sharp, Splat(128));
    return NarrowHalves(WeightedSum(_mm256_unpacklo_epi8(rest, mask), _mm256_unpacklo_epi8(b, s)),
                        WeightedSum(_mm256_unpackhi_epi8(rest, mask), _mm256_unpackhi_epi8(b, s)));
  }

  // The low four bits pick a byte in each of the table's 16 rows, the high four bits the row, one bit after the other.
  class Table {
   public:
    explicit Table(const uint8_t* table) {
      for (int i = 0; i < 16; ++i) {
        rows_[i] = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * i)));
      }
    }
    U8 operator()(U8 v) const {
      const U8 low = And(v, Splat(15));
      const U8 bit4 = _mm256_slli_epi16(v, 3), bit5 = _mm256_slli_epi16(v, 2), bit6 = _mm256_slli_epi16(v, 1);
      U8 pair[8];
      for (int i = 0; i < 8; ++i) {
        const U8 even = _mm256_shuffle_epi8(rows_[2 * i], low);
        pair[i] = _mm256_blendv_epi8(even, _mm256_shuffle_epi8(rows_[2 * i + 1], low), bit4);
      }
      const U8 first = _mm256_blendv_epi8(_mm256_blendv_epi8(pair[0], pair[1], bit5),
                                          _mm256_blendv_epi8(pair[2], pair[3], bit5), bit6);
      const U8 second = _mm256_blendv_epi8(_mm256_blendv_epi8(pair[4], pair[5], bit5),
                                           _mm256_blendv_epi8(pair[6], pair[7], bit5), bit6);
      return _mm256_blendv_epi8(first, second, v);
    }

   private:
    U8 rows_[16];
  };

 private:
  // From the order that packing within the halves leaves.
  static U8 InOrder(U8 v) { return _mm256_permute4x64_epi64(v, 0xd8); }
};

}  // namespace

void FillAvx2Kernels(KernelTable& table) {
  VectorKernels<Avx2>::Override(table);
}

}  // namespace pexo
