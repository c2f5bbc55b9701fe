// SPDX-License-Identifier: Apache-2.0
#include <qmx/qmx_image.h>

#include <cstdlib>
#include <limits>

#include "image_layout.h"

namespace pexo::qmx {
namespace {

constexpr std::size_t kPlaneAlignment = 64;  // of plane 0: a cache line, and more than any vector load asks for

int64_t RowBytes(const FormatLayout& layout, int plane, int64_t width) {
  return width / layout.subsampling[plane] * layout.channels[plane];
}

}  // namespace

bool IsPossible(int32_t width, int32_t height, int32_t format) {
  const FormatLayout layout = LayoutOf(format);
  if (layout.plane_count == 0 || width < 1 || height < 1) return false;
  if (layout.plane_count == 2 && (width % 2 != 0 || height % 2 != 0)) return false;
  int64_t bytes = 0;
  for (int plane = 0; plane < layout.plane_count; ++plane) {
    bytes += RowBytes(layout, plane, width) * (height / layout.subsampling[plane]);
  }
  return bytes <= std::numeric_limits<int32_t>::max();
}

bool IsUsable(const QmxImage* image) {
  if (image == nullptr || !IsPossible(image->width, image->height, image->format)) return false;
  const FormatLayout layout = LayoutOf(image->format);
  for (int plane = 0; plane < layout.plane_count; ++plane) {
    if (image->plane[plane] == nullptr) return false;
    if (image->stride[plane] < RowBytes(layout, plane, image->width)) return false;
    const int64_t rows = image->height / layout.subsampling[plane];
    if (image->stride[plane] * rows > std::numeric_limits<int32_t>::max()) return false;
  }
  return true;
}

}  // namespace pexo::qmx

extern "C" [[gnu::visibility("default")]] QmxImage qmxImageCreate(int32_t width, int32_t height, int32_t format) {
  using namespace pexo::qmx;
  QmxImage image = {};
  if (!IsPossible(width, height, format)) return image;
  const FormatLayout layout = LayoutOf(format);
  std::size_t offsets[2] = {};
  std::size_t bytes = 0;
  for (int plane = 0; plane < layout.plane_count; ++plane) {
    offsets[plane] = bytes;
    image.stride[plane] = static_cast<int32_t>(RowBytes(layout, plane, width));
    bytes += static_cast<std::size_t>(image.stride[plane]) * (height / layout.subsampling[plane]);
  }
  void* block = nullptr;
  if (::posix_memalign(&block, kPlaneAlignment, bytes) != 0) return {};
  for (int plane = 0; plane < layout.plane_count; ++plane) {
    image.plane[plane] = static_cast<uint8_t*>(block) + offsets[plane];
  }
  image.format = format;
  image.width = width;
  image.height = height;
  return image;
}

extern "C" [[gnu::visibility("default")]] int32_t qmxImageFree(QmxImage* image) {
  if (image == nullptr) return pexo::qmx::kBadArgument;
  std::free(image->plane[0]);  // one block holds every plane
  *image = {};
  return pexo::qmx::kOk;
}
