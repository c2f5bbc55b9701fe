// SPDX-License-Identifier: Apache-2.0
// A plain image library whose rows have a gap between them, which the blur has to heed: qmxResize takes the nearest
// pixel above and to the left, and of the colour conversions there is the one that the library calls.
#include <qmx/qmx_image.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" QmxImage qmxImageCreate(int32_t width, int32_t height, int32_t format) {
  const int32_t stride = width + 8;
  const auto luma = static_cast<size_t>(stride) * static_cast<size_t>(height);
  auto* memory = static_cast<uint8_t*>(std::malloc(luma + luma / 2));
  if (memory == nullptr) return {};
  return {format, width, height, {memory, memory + luma}, {stride, stride}};
}

extern "C" int32_t qmxImageFree(QmxImage* image) {
  std::free(image->plane[0]);
  *image = {};
  return 0;
}

extern "C" int32_t qmxResize(const QmxImage* source, QmxImage* destination, int32_t) {
  for (int i = 0; i < (source->format == QMX_FORMAT_GRAY8 ? 1 : 2); ++i) {
    const int bytes = i + 1;  // of a pixel: a chroma plane's are pairs
    const int width = destination->width / bytes, height = destination->height / bytes;
    for (int y = 0; y < height; ++y) {
      const uint8_t* from = source->plane[i] + y * (source->height / bytes) / height * source->stride[i];
      for (int x = 0; x < width * bytes; ++x) {
        const int pixel = x / bytes * (source->width / bytes) / width;
        destination->plane[i][y * destination->stride[i] + x] = from[pixel * bytes + x % bytes];
      }
    }
  }
  return 0;
}

// Full-range BT.601 with 8-bit coefficients.
extern "C" int32_t qmxColorNV21toRGB888u8(const QmxImage* source, QmxImage* destination) {
  for (int y = 0; y < source->height; ++y) {
    for (int x = 0; x < source->width; ++x) {
      const int luma = source->plane[0][y * source->stride[0] + x];
      const uint8_t* pair = source->plane[1] + y / 2 * source->stride[1] + x / 2 * 2;
      const int v = pair[0] - 128, u = pair[1] - 128;
      const int rgb[] = {luma + 359 * v / 256, luma - (88 * u + 183 * v) / 256, luma + 454 * u / 256};
      for (int c = 0; c < 3; ++c) {
        destination->plane[0][y * destination->stride[0] + 3 * x + c] =
            static_cast<uint8_t>(std::clamp(rgb[c], 0, 255));
      }
    }
  }
  return 0;
}

extern "C" int32_t qmxColorNV21toBGR888u8(const QmxImage*, QmxImage*) {
  return 1;
}
extern "C" int32_t qmxColorRGB888toNV21u8(const QmxImage*, QmxImage*) {
  return 1;
}
extern "C" int32_t qmxColorBGR888toNV21u8(const QmxImage*, QmxImage*) {
  return 1;
}
