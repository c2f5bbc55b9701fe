// qmxImageCreate, qmxImageFree and qmxResize, which takes the nearest pixel above and to the left.
#include <qmx/qmx_image.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" QmxImage qmxImageCreate(int32_t width, int32_t height, int32_t format) {
  const auto luma = static_cast<size_t>(width) * static_cast<size_t>(height);
  auto* memory = static_cast<uint8_t*>(std::malloc(luma + luma / 2));
  if (memory == nullptr) return {};
  return {format, width, height, {memory, memory + luma}, {width, width}};
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
