// SPDX-License-Identifier: Apache-2.0
#include "blur/resize.h"

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace pexo {
namespace {

void TakeNearestPixels(const QmxImage& source, QmxImage& destination) {
  for (int plane = 0; plane < (source.format == QMX_FORMAT_GRAY8 ? 1 : 2); ++plane) {
    const ptrdiff_t bytes = plane + 1;  // of a pixel: chroma comes in pairs, of half the size both ways
    const ptrdiff_t source_width = source.width / bytes, source_height = source.height / bytes;
    const ptrdiff_t width = destination.width / bytes, height = destination.height / bytes;
    for (ptrdiff_t y = 0; y < height; ++y) {
      const uint8_t* from = source.plane[plane] + y * source_height / height * source.stride[plane];
      uint8_t* to = destination.plane[plane] + y * destination.stride[plane];
      for (ptrdiff_t x = 0; x < width; ++x) {
        std::memcpy(to + x * bytes, from + x * source_width / width * bytes, static_cast<size_t>(bytes));
      }
    }
  }
}

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

void Resize(const QmxImage& source, QmxImage& destination) {
  assert(source.format == destination.format);
  if (qmxResize(&source, &destination, QMX_INTERPOLATION_BILINEAR) != 0) TakeNearestPixels(source, destination);
}

}  // namespace pexo
