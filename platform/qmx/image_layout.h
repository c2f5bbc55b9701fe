// SPDX-License-Identifier: Apache-2.0
// What the image library's operations share: plane geometry of the formats, and the checks that keep the pixel code
// safe.
#ifndef PEXO_QMX_IMAGE_LAYOUT_H_
#define PEXO_QMX_IMAGE_LAYOUT_H_

#include <qmx/qmx_image.h>

#include <cstdint>

namespace pexo::qmx {

enum Status : int32_t { kOk = 0, kBadArgument = 1 };

// The planes of a format. Every plane holds `channels` interleaved 8-bit samples a pixel of its own grid.
struct FormatLayout {
  int plane_count = 0;  // 0: unknown format
  int channels[2] = {};
  int subsampling[2] = {};  // of the plane's grid, in both directions
};

constexpr FormatLayout LayoutOf(int32_t format) {
  switch (format) {
    case QMX_FORMAT_BGR888:
    case QMX_FORMAT_RGB888:
      return {1, {3, 0}, {1, 1}};
    case QMX_FORMAT_GRAY8:
      return {1, {1, 0}, {1, 1}};
    case QMX_FORMAT_NV12:
    case QMX_FORMAT_NV21:
      return {2, {1, 2}, {1, 2}};
    default:
      return {};
  }
}

// Whether an image of this geometry can exist: known format, sizes from 1 up, even sizes for the two-plane formats, and
// no plane beyond 2^31 - 1 bytes, the range of the pixel code's offsets.
bool IsPossible(int32_t width, int32_t height, int32_t format);

// Whether pixels may be touched: a possible geometry, planes that are there, strides of at least a row.
bool IsUsable(const QmxImage* image);

}  // namespace pexo::qmx

#endif  // PEXO_QMX_IMAGE_LAYOUT_H_
