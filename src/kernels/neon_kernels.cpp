// SPDX-License-Identifier: Apache-2.0
// The row kernels on 16 bytes of NEON, which every 64-bit Arm processor has.
#include <arm_neon.h>

#include "kernels/vector_kernels.h"

namespace pexo {
namespace {

struct Neon {
  using U8 = uint8x16_t;
  using U16 = uint16x8_t;
  static constexpr int kBytes = 16;

  static U8 Load(const uint8_t* p) { return vld1q_u8(p); }
  static void Store(uint8_t* p, U8 v) { vst1q_u8(p, v); }
  static U16 Load16(const uint16_t* p) { return vld1q_u16(p); }
  static void Store16(uint16_t* p, U16 v) { vst1q_u16(p, v); }
  static U16 LoadWide(const uint8_t* p) { return vmovl_u8(vld1_u8(p)); }
  static U8 Splat(uint8_t v) { return vdupq_n_u8(v); }
  static U16 Splat16(uint16_t v) { return vdupq_n_u16(v); }

  static U8 Add(U8 a, U8 b) { return vaddq_u8(a, b); }
  static U8 Sub(U8 a, U8 b) { return vsubq_u8(a, b); }
  static U8 SubSaturating(U8 a, U8 b) { return vqsubq_u8(a, b); }
  static U8 And(U8 a, U8 b) { return vandq_u8(a, b); }
  static U8 Or(U8 a, U8 b) { return vorrq_u8(a, b); }
  static U8 Xor(U8 a, U8 b) { return veorq_u8(a, b); }
  static U8 Average(U8 a, U8 b) { return vrhaddq_u8(a, b); }
  static U8 GreaterThan(U8 a, U8 b) { return vcgtq_u8(a, b); }
  static U8 Select(U8 mask, U8 yes, U8 no) { return vbslq_u8(mask, yes, no); }
  static int SumOfLanes(U8 v) { return vaddlvq_u8(v); }
  // Each lane's right neighbour; the last lane's own value in the last.
  static U8 NextLane(U8 v) { return vextq_u8(v, vdupq_laneq_u8(v, 15), 1); }

  static U16 Add16(U16 a, U16 b) { return vaddq_u16(a, b); }
  static U16 Sub16(U16 a, U16 b) { return vsubq_u16(a, b); }
  static U16 MulHigh16(U16 a, U16 b) {
    const uint32x4_t low = vmull_u16(vget_low_u16(a), vget_low_u16(b));
    return vuzp2q_u16(vreinterpretq_u16_u32(low), vreinterpretq_u16_u32(vmull_high_u16(a, b)));
  }
  template <int kShift>
  static U16 ShiftRight16(U16 v) {
    return vshrq_n_u16(v, kShift);
  }
  template <int kShift>
  static U16 ShiftLeft16(U16 v) {
    return vshlq_n_u16(v, kShift);
  }
  static U16 ShiftRight16By(U16 v, int shift) { return vshlq_u16(v, vdupq_n_s16(static_cast<int16_t>(-shift))); }

  static U16 WidenLow(U8 v) { return vmovl_u8(vget_low_u8(v)); }
  static U16 WidenHigh(U8 v) { return vmovl_high_u8(v); }
  static U8 NarrowHalves(U16 low, U16 high) { return Narrow(low, high); }
  static U8 Narrow(U16 first, U16 second) {
    return vuzp1q_u8(vreinterpretq_u8_u16(first), vreinterpretq_u8_u16(second));
  }
  static U16 SumPairs(U8 v) { return vpaddlq_u8(v); }

  static void LoadPairs(const uint8_t* p, U8& even, U8& odd) {
    const uint8x16x2_t pairs = vld2q_u8(p);
    even = pairs.val[0];
    odd = pairs.val[1];
  }
  static void StorePairs(uint8_t* p, U8 even, U8 odd) {
    const uint8x16x2_t pairs = {{even, odd}};
    vst2q_u8(p, pairs);
  }

  static U8 Blend(U8 blurred, U8 sharp, U8 mask) {
    const U8 rest = vmvnq_u8(mask);
    const U16 low = vmlal_u8(vmull_u8(vget_low_u8(blurred), vget_low_u8(rest)), vget_low_u8(sharp), vget_low_u8(mask));
    const U16 high = vmlal_high_u8(vmull_high_u8(blurred, rest), sharp, mask);
    return vshrn_high_n_u16(vshrn_n_u16(low, 8), high, 8);
  }

  // Four lookups of 64 bytes; each leaves alone what lies outside its own.
  class Table {
   public:
    explicit Table(const uint8_t* table)
        : rows_{vld1q_u8_x4(table), vld1q_u8_x4(table + 64), vld1q_u8_x4(table + 128), vld1q_u8_x4(table + 192)} {}
    U8 operator()(U8 v) const {
      U8 result = vqtbl4q_u8(rows_[0], v);
      result = vqtbx4q_u8(result, rows_[1], vsubq_u8(v, vdupq_n_u8(64)));
      result = vqtbx4q_u8(result, rows_[2], vsubq_u8(v, vdupq_n_u8(128)));
      return vqtbx4q_u8(result, rows_[3], vsubq_u8(v, vdupq_n_u8(192)));
    }

   private:
    uint8x16x4_t rows_[4];
  };
};

}  // namespace

void FillNeonKernels(KernelTable& table) {
  VectorKernels<Neon>::Override(table);
}

}  // namespace pexo
