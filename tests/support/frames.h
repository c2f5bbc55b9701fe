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

// An NV21 frame on a vector, tightly packed.
class Frame {
 public:
  Frame(int32_t width, int32_t height) : pixels_(static_cast<size_t>(width) * static_cast<size_t>(height) * 3 / 2) {
    image_.format = kFormatNv21;
    image_.width = width;
    image_.height = height;
    image_.stride[0] = image_.stride[1] = width;
    Point();
  }
  Frame(const Frame& other) : image_(other.image_), pixels_(other.pixels_) { Point(); }
  Frame& operator=(const Frame&) = delete;

  static Frame Noise(int32_t width, int32_t height, uint32_t seed) {
    Frame frame(width, height);
    std::mt19937 random(seed);
    for (uint8_t& pixel : frame.pixels_) pixel = static_cast<uint8_t>(random());
    return frame;
  }

  QmxImage& image() { return image_; }
  const QmxImage& image() const { return image_; }
  std::vector<uint8_t>& pixels() { return pixels_; }
  const std::vector<uint8_t>& pixels() const { return pixels_; }

 private:
  void Point() {
    image_.plane[0] = pixels_.data();
    image_.plane[1] = pixels_.data() + static_cast<size_t>(image_.width) * static_cast<size_t>(image_.height);
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

}  // namespace pexo::test

#endif  // PEXO_TESTS_SUPPORT_FRAMES_H_
