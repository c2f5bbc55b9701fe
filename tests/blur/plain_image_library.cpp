// qmxImageCreate, qmxImageFree and qmxResize in integers only: bilinear, pixel centres aligned, 8-bit weights.
#include "tests/blur/plain_image_library.h"

#include <qmx/qmx_image.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace pexo::testing {

ImageLibraryState& image_library() {
  static ImageLibraryState state;
  return state;
}

namespace {

struct Tap {
  int first;
  int second;
  int weight;  // of the second, out of 256
};

Tap TapFor(int index, int size, int source_size) {
  const int64_t centre = (2 * int64_t{index} + 1) * source_size * 256 / (2 * size) - 128;
  const int64_t clamped = std::clamp<int64_t>(centre, 0, int64_t{source_size - 1} * 256);
  const int first = static_cast<int>(clamped / 256);
  return {first, std::min(first + 1, source_size - 1), static_cast<int>(clamped % 256)};
}

// One channel of interleaved samples `pixel_bytes` apart.
void ResizeChannel(const uint8_t* source, int source_width, int source_height, int source_stride, uint8_t* destination,
                   int width, int height, int stride, int pixel_bytes) {
  for (int y = 0; y < height; ++y) {
    const Tap v = TapFor(y, height, source_height);
    for (int x = 0; x < width; ++x) {
      const Tap h = TapFor(x, width, source_width);
      const auto row = [&](int line) {
        const uint8_t* pixels = source + static_cast<ptrdiff_t>(line) * source_stride;
        return pixels[h.first * pixel_bytes] * (256 - h.weight) + pixels[h.second * pixel_bytes] * h.weight;
      };
      const int sum = row(v.first) * (256 - v.weight) + row(v.second) * v.weight;
      destination[static_cast<ptrdiff_t>(y) * stride + x * pixel_bytes] = static_cast<uint8_t>((sum + (1 << 15)) >> 16);
    }
  }
}

}  // namespace
}  // namespace pexo::testing

using pexo::testing::image_library;
using pexo::testing::ResizeChannel;

extern "C" QmxImage qmxImageCreate(int32_t width, int32_t height, int32_t format) {
  const bool two_planes = format == QMX_FORMAT_NV12 || format == QMX_FORMAT_NV21;
  if (width < 1 || height < 1 || (two_planes && (width % 2 != 0 || height % 2 != 0))) {
    ++image_library().rejected;
    return {};
  }
  const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
  auto* memory = static_cast<uint8_t*>(std::malloc(luma + luma / 2));
  if (memory == nullptr) {
    return {};
  }
  QmxImage image{};
  image.format = format;
  image.width = width;
  image.height = height;
  image.plane[0] = memory;
  image.stride[0] = width;
  if (two_planes) {
    image.plane[1] = memory + luma;
    image.stride[1] = width;
  }
  return image;
}

extern "C" int32_t qmxImageFree(QmxImage* image) {
  if (image == nullptr) {
    return 1;
  }
  std::free(image->plane[0]);
  *image = {};
  return 0;
}

extern "C" int32_t qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation) {
  ++image_library().resizes;
  const bool gray = source->format == QMX_FORMAT_GRAY8;
  if (source->format != destination->format || (!gray && source->format != QMX_FORMAT_NV21) ||
      interpolation != QMX_INTERPOLATION_BILINEAR) {
    ++image_library().rejected;
    return 1;
  }
  if (image_library().fail_resizes) {
    return 1;
  }
  ResizeChannel(source->plane[0], source->width, source->height, source->stride[0], destination->plane[0],
                destination->width, destination->height, destination->stride[0], 1);
  for (int channel = 0; channel < (gray ? 0 : 2); ++channel) {
    ResizeChannel(source->plane[1] + channel, source->width / 2, source->height / 2, source->stride[1],
                  destination->plane[1] + channel, destination->width / 2, destination->height / 2,
                  destination->stride[1], 2);
  }
  return 0;
}
