// SPDX-License-Identifier: Apache-2.0
// Colour conversions in full-range BT.601, the matrix of JPEG files and of camera previews.
// libyuv names 24-bit formats by the little-endian word: its "RAW" is R, G, B in memory and its "RGB24" B, G, R.
#include <qmx/qmx_image.h>

#include <algorithm>
#include <cstdint>

#include <libyuv/convert_argb.h>

#include "image_layout.h"

namespace pexo::qmx {
namespace {

bool CanConvert(const QmxImage* source, int32_t source_format, const QmxImage* destination,
                int32_t destination_format) {
  return IsUsable(source) && IsUsable(destination) && source->format == source_format &&
         destination->format == destination_format && source->width == destination->width &&
         source->height == destination->height;
}

int32_t StatusOf(int libyuv_result) {
  return libyuv_result == 0 ? kOk : kBadArgument;
}

// Each sample from its exact value in 1/65536 of a level. (libyuv's way here takes memory and does not check it.)
// `red` is the place of red among a pixel's samples, 0 or 2.
void ConvertToNv21(const QmxImage& source, const QmxImage& destination, int red) {
  const auto row = [](const QmxImage& image, int plane, int y) {
    return image.plane[plane] + static_cast<std::ptrdiff_t>(y) * image.stride[plane];
  };
  for (int y = 0; y < source.height; y += 2) {
    uint8_t* chroma = row(destination, 1, y / 2);
    for (int x = 0; x < source.width; x += 2) {
      int r = 0, g = 0, b = 0;  // of the block's four pixels
      for (int i = 0; i < 4; ++i) {
        const uint8_t* pixel = row(source, 0, y + i / 2) + 3 * static_cast<std::ptrdiff_t>(x + i % 2);
        r += pixel[red], g += pixel[1], b += pixel[2 - red];
        row(destination, 0, y + i / 2)[x + i % 2] =
            static_cast<uint8_t>((19595 * pixel[red] + 38470 * pixel[1] + 7471 * pixel[2 - red] + 0x8000) >> 16);
      }
      const auto rounded = [](int sum) { return static_cast<uint8_t>(std::min((sum >> 18) + 128, 255)); };
      chroma[x] = rounded(32768 * r - 27439 * g - 5329 * b + 0x20000);
      chroma[x + 1] = rounded(-11058 * r - 21710 * g + 32768 * b + 0x20000);
    }
  }
}

}  // namespace
}  // namespace pexo::qmx

extern "C" [[gnu::visibility("default")]] int32_t qmxColorNV21toRGB888u8(const QmxImage* source,
                                                                         QmxImage* destination) {
  using namespace pexo::qmx;
  if (!CanConvert(source, QMX_FORMAT_NV21, destination, QMX_FORMAT_RGB888)) return kBadArgument;
  // B, G, R out of V, U is R, G, B out of U, V with the mirrored matrix.
  return StatusOf(libyuv::NV12ToRGB24Matrix(source->plane[0], source->stride[0], source->plane[1], source->stride[1],
                                            destination->plane[0], destination->stride[0], &libyuv::kYvuJPEGConstants,
                                            source->width, source->height));
}

extern "C" [[gnu::visibility("default")]] int32_t qmxColorNV21toBGR888u8(const QmxImage* source,
                                                                         QmxImage* destination) {
  using namespace pexo::qmx;
  if (!CanConvert(source, QMX_FORMAT_NV21, destination, QMX_FORMAT_BGR888)) return kBadArgument;
  return StatusOf(libyuv::NV21ToRGB24Matrix(source->plane[0], source->stride[0], source->plane[1], source->stride[1],
                                            destination->plane[0], destination->stride[0], &libyuv::kYuvJPEGConstants,
                                            source->width, source->height));
}

extern "C" [[gnu::visibility("default")]] int32_t qmxColorRGB888toNV21u8(const QmxImage* source,
                                                                         QmxImage* destination) {
  using namespace pexo::qmx;
  if (!CanConvert(source, QMX_FORMAT_RGB888, destination, QMX_FORMAT_NV21)) return kBadArgument;
  ConvertToNv21(*source, *destination, 0);
  return kOk;
}

extern "C" [[gnu::visibility("default")]] int32_t qmxColorBGR888toNV21u8(const QmxImage* source,
                                                                         QmxImage* destination) {
  using namespace pexo::qmx;
  if (!CanConvert(source, QMX_FORMAT_BGR888, destination, QMX_FORMAT_NV21)) return kBadArgument;
  ConvertToNv21(*source, *destination, 2);
  return kOk;
}
