// The working memory of one composite, and how its planes are shown to the image library.
#ifndef PEXO_BLUR_SCRATCH_H_
#define PEXO_BLUR_SCRATCH_H_

#include <qmx/qmx_image.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "blur/image_buffer.h"

namespace pexo {

// One owned block for all planes and row rings of a call. What a call needs is built twice: before Allocate() every
// taken place is null and only counted, afterwards the same requests in the same order get their memory. (One block,
// because several of some megabytes make the allocator hand pages back to the system on every call.)
class Scratch {
 public:
  Scratch() { ImageBufferReset(&block_); }
  ~Scratch() { ImageBufferRelease(&block_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  // `bytes` bytes from a 64-byte boundary; they hold anything.
  uint8_t* Take(size_t bytes) {
    uint8_t* place = block_.data == nullptr ? nullptr : block_.data + taken_;
    taken_ += (bytes + 63) & ~size_t{63};
    return place;
  }
  ImageBuffer TakePlane(int rows, int cols) {
    ImageBuffer plane;
    ImageBufferWrap(&plane, static_cast<uint32_t>(rows), static_cast<uint32_t>(cols), kImageBufferU8,
                    Take(static_cast<size_t>(rows) * static_cast<size_t>(cols)));
    return plane;
  }

  [[nodiscard]] bool Allocate() {
    if (taken_ > INT32_MAX) {
      return false;
    }
    ImageBufferCreate(&block_, 1, static_cast<uint32_t>(taken_), kImageBufferU8);
    taken_ = 0;
    return block_.data != nullptr;
  }

 private:
  ImageBuffer block_;
  size_t taken_ = 0;
};

// A one-byte plane as the image library sees it.
inline QmxImage GrayImage(const ImageBuffer& plane) {
  QmxImage image{};
  image.format = QMX_FORMAT_GRAY8;
  image.width = static_cast<int32_t>(plane.cols);
  image.height = static_cast<int32_t>(plane.rows);
  image.plane[0] = plane.data;
  image.stride[0] = static_cast<int32_t>(plane.step);
  return image;
}

// The mask with its rows tightly packed.
inline QmxImage PackedMask(const QmxImage& mask) {
  QmxImage image{};
  image.format = QMX_FORMAT_GRAY8;
  image.width = mask.width;
  image.height = mask.height;
  image.plane[0] = mask.plane[0];
  image.stride[0] = mask.width;
  return image;
}

// The library's result does not stop the composite. A resize that fails leaves its destination alone, so the plane then
// turns mid-grey: no output byte may come from unwritten memory.
inline void ResizePlane(const QmxImage& source, const ImageBuffer& destination) {
  QmxImage image = GrayImage(destination);
  if (qmxResize(&source, &image, QMX_INTERPOLATION_BILINEAR) != 0) {
    std::memset(destination.data, 128, static_cast<size_t>(destination.rows) * destination.step);
  }
}

}  // namespace pexo

#endif  // PEXO_BLUR_SCRATCH_H_
