// SPDX-License-Identifier: Apache-2.0
#include "blur/resize.h"

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

namespace pexo {
namespace {

constexpr int32_t kLeastMarked = 64;  // bytes that no picture has by chance

// Jumps about as the rows of a scaled picture do not.
uint8_t Mark(int32_t x) {
  return static_cast<uint8_t>(167 * x);
}

// A plane that a resize is to fill. To fill it before costs as much as a third of the resize, so where rows are long
// enough to carry a mark only the last one is written: while the mark stands, the resize has not come to the end.
class Destination {
 public:
  Destination(const QmxImage& image, int plane, uint8_t level)
      : data_(image.plane[plane]),
        stride_(image.stride[plane]),
        width_(image.width),  // a row of chroma pairs has as many bytes as one of luma
        last_row_((image.height >> plane) - 1),
        level_(level) {
    if (width_ < kLeastMarked) {
      Fill();
    } else {
      for (int32_t x = 0; x < width_; ++x) Row(last_row_)[x] = Mark(x);
    }
  }

  void FillIfMarked() {
    if (width_ < kLeastMarked) return;
    for (int32_t x = 0; x < width_; ++x) {
      if (Row(last_row_)[x] != Mark(x)) return;
    }
    Fill();
  }

 private:
  uint8_t* Row(ptrdiff_t y) { return data_ + y * stride_; }
  void Fill() {
    for (ptrdiff_t y = 0; y <= last_row_; ++y) std::memset(Row(y), level_, static_cast<size_t>(width_));
  }

  uint8_t* data_;
  ptrdiff_t stride_;
  int32_t width_;
  ptrdiff_t last_row_;
  uint8_t level_;
};

}  // namespace

QmxImage PlaneImage(const ImageBuffer& plane) {
  return {QMX_FORMAT_GRAY8,
          static_cast<int32_t>(plane.cols),
          static_cast<int32_t>(plane.rows),
          {plane.data},
          {static_cast<int32_t>(plane.step)}};
}

QmxImage LumaImage(const QmxImage& frame) {
  return {QMX_FORMAT_GRAY8, frame.width, frame.height, {frame.plane[0]}, {frame.stride[0]}};
}

void Resize(const QmxImage& source, QmxImage& destination, uint8_t blank) {
  assert(source.format == destination.format);
  std::array<std::optional<Destination>, 2> planes;
  const int count = destination.format == QMX_FORMAT_GRAY8 ? 1 : 2;
  for (int i = 0; i < count; ++i) planes[i].emplace(destination, i, blank);
  static_cast<void>(qmxResize(&source, &destination, QMX_INTERPOLATION_BILINEAR));
  for (int i = 0; i < count; ++i) planes[i]->FillIfMarked();
}

}  // namespace pexo
