// Colour conversions in full-range BT.601, the matrix of JPEG files and of camera previews.
// libyuv names 24-bit formats by the little-endian word: its "RAW" is R, G, B in memory and its "RGB24" B, G, R.
#include <qmx/qmx_image.h>

#include <cstdint>
#include <memory>
#include <new>

#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>

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
  return StatusOf(libyuv::RAWToJNV21(source->plane[0], source->stride[0], destination->plane[0], destination->stride[0],
                                     destination->plane[1], destination->stride[1], source->width, source->height));
}

extern "C" [[gnu::visibility("default")]] int32_t qmxColorBGR888toNV21u8(const QmxImage* source,
                                                                         QmxImage* destination) try {
  using namespace pexo::qmx;
  if (!CanConvert(source, QMX_FORMAT_BGR888, destination, QMX_FORMAT_NV21)) return kBadArgument;
  // libyuv goes to NV21 from R, G, B only; two rows at a time share a chroma row.
  const int row_bytes = 3 * source->width;
  const auto rgb = std::make_unique_for_overwrite<uint8_t[]>(2 * static_cast<std::size_t>(row_bytes));
  for (int y = 0; y < source->height; y += 2) {
    const auto row = [](const QmxImage& image, int plane, int index) {
      return image.plane[plane] + static_cast<std::ptrdiff_t>(index) * image.stride[plane];
    };
    int result = libyuv::RAWToRGB24(row(*source, 0, y), source->stride[0], rgb.get(), row_bytes, source->width, 2);
    if (result == 0) {
      result = libyuv::RAWToJNV21(rgb.get(), row_bytes, row(*destination, 0, y), destination->stride[0],
                                  row(*destination, 1, y / 2), destination->stride[1], source->width, 2);
    }
    if (result != 0) return kBadArgument;
  }
  return kOk;
} catch (const std::bad_alloc&) {
  return pexo::qmx::kNoMemory;
}
