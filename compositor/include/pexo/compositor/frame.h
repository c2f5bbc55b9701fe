// SPDX-License-Identifier: Apache-2.0
// Video frames as the compositor takes them: 8-bit YUV 4:2:0 in the caller's memory.
#ifndef PEXO_COMPOSITOR_FRAME_H_
#define PEXO_COMPOSITOR_FRAME_H_

#include <cstddef>
#include <cstdint>

namespace pexo::compositor {

// Planes in memory order. kI420 has three planes (Y, U, V) and kYv12 three (Y, V, U); kNv12 and kNv21 have two, the
// second with pairs U, V or V, U.
enum class Layout { kI420, kYv12, kNv12, kNv21 };

enum class Range { kFull, kLimited };  // luma 0 to 255 or 16 to 235

enum class Matrix { kBt601, kBt709 };

// Of a frame's width and height, in pixels: the scaler reaches no further.
inline constexpr int kMaxSide = 32766;

// A view: nothing is owned. Width and height are even and 2 to kMaxSide; a chroma plane has half the rows, with width
// / 2 bytes in each (three planes) or width bytes (two). Strides are bytes from row to row, at least a row's bytes.
// Luma is taken to lie around the chroma samples' centres, as in JPEG files.
template <typename Byte>
struct BasicFrame {
  int width = 0;
  int height = 0;
  Layout layout = Layout::kI420;
  Range range = Range::kLimited;
  Matrix matrix = Matrix::kBt601;
  Byte* plane[3] = {};
  ptrdiff_t stride[3] = {};
};

using Frame = BasicFrame<uint8_t>;
using ConstFrame = BasicFrame<const uint8_t>;

inline ConstFrame AsConst(const Frame& frame) {
  return {frame.width,
          frame.height,
          frame.layout,
          frame.range,
          frame.matrix,
          {frame.plane[0], frame.plane[1], frame.plane[2]},
          {frame.stride[0], frame.stride[1], frame.stride[2]}};
}

// A mask's pixels, 0 background to 255 person; `pixels` belongs to whoever handed the view out.
struct MaskView {
  const uint8_t* pixels = nullptr;
  ptrdiff_t stride = 0;
  int width = 0;
  int height = 0;
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_FRAME_H_
