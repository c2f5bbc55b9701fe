// Frames and masks that tests and benches make.
#ifndef PEXO_TESTS_SUPPORT_FRAMES_H_
#define PEXO_TESTS_SUPPORT_FRAMES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "network/image.h"

namespace pexo::test {

// An image on a vector, NV21 unless told; formats that are not known have one byte a pixel. Rows are `padding` bytes
// longer than their pixels.
class Frame {
 public:
  Frame(int32_t width, int32_t height, int32_t format = kFormatNv21, int32_t padding = 0) {
    const bool is_rgb = format == kFormatBgr888 || format == kFormatRgb888;
    const bool is_yuv = format == kFormatNv12 || format == kFormatNv21;
    image_.format = format;
    image_.width = width;
    image_.height = height;
    image_.stride[0] = width * (is_rgb ? 3 : 1) + padding;
    image_.stride[1] = is_yuv ? image_.stride[0] : 0;
    pixels_.resize(LumaBytes() * (is_yuv ? 3 : 2) / 2);
    Point();
  }
  Frame(const Frame& other) : image_(other.image_), pixels_(other.pixels_) { Point(); }
  Frame& operator=(const Frame&) = delete;

  static Frame Noise(int32_t width, int32_t height, uint32_t seed, int32_t format = kFormatNv21, int32_t padding = 0) {
    Frame frame(width, height, format, padding);
    std::mt19937 random(seed);
    for (uint8_t& pixel : frame.pixels_) pixel = static_cast<uint8_t>(random());
    return frame;
  }

  QmxImage& image() { return image_; }
  const QmxImage& image() const { return image_; }
  std::vector<uint8_t>& pixels() { return pixels_; }
  const std::vector<uint8_t>& pixels() const { return pixels_; }

 private:
  size_t LumaBytes() const { return static_cast<size_t>(image_.stride[0]) * static_cast<size_t>(image_.height); }
  void Point() {
    image_.plane[0] = pixels_.data();
    if (image_.stride[1] > 0) image_.plane[1] = pixels_.data() + LumaBytes();
  }

  QmxImage image_{};
  std::vector<uint8_t> pixels_;
};

// A GRAY8 image of its own.
inline Image Gray(int32_t width, int32_t height, int value = 0) {
  Image image;
  AllocImage(image, width, height, kFormatGray8);
  std::fill_n(image.plane[0], static_cast<size_t>(width) * static_cast<size_t>(height), static_cast<uint8_t>(value));
  return image;
}

inline std::vector<uint8_t> Bytes(const QmxImage& gray) {
  return {gray.plane[0], gray.plane[0] + static_cast<size_t>(gray.width) * static_cast<size_t>(gray.height)};
}

// A GRAY8 image doubled and moved up and left by one pixel; the last row and the last column stay.
inline Frame DoubledAndMoved(const Frame& gray) {
  Frame doubled(2 * gray.image().width, 2 * gray.image().height, kFormatGray8);
  qmxResize(&gray.image(), &doubled.image(), 2);
  Frame moved(doubled);
  const auto row = static_cast<size_t>(doubled.image().width);
  for (size_t i = 0; i + row < moved.pixels().size(); ++i) {
    if ((i + 1) % row != 0) moved.pixels()[i] = doubled.pixels()[i + row + 1];
  }
  return moved;
}

}  // namespace pexo::test

#endif  // PEXO_TESTS_SUPPORT_FRAMES_H_
