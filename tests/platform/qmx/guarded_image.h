// An image whose planes have rows longer than needed and lie in a block of known bytes, so that a test can tell what an
// operation wrote.
#ifndef PEXO_TESTS_PLATFORM_QMX_GUARDED_IMAGE_H_
#define PEXO_TESTS_PLATFORM_QMX_GUARDED_IMAGE_H_

#include <qmx/qmx_image.h>

#include <cstdint>
#include <random>
#include <vector>

namespace pexo::test {

inline int PlaneCount(int32_t format) {
  return format == QMX_FORMAT_NV12 || format == QMX_FORMAT_NV21 ? 2 : 1;
}

class GuardedImage {
 public:
  // `padding` bytes follow every row, `guard` fills what lies outside the rows.
  GuardedImage(int32_t width, int32_t height, int32_t format, int padding = 0, uint8_t guard = 0xa5) : guard_(guard) {
    image_.format = format;
    image_.width = width;
    image_.height = height;
    const int pixel_bytes = format == QMX_FORMAT_RGB888 || format == QMX_FORMAT_BGR888 ? 3 : 1;
    for (int plane = 0; plane < PlaneCount(format); ++plane) {
      row_bytes_[plane] = width * pixel_bytes;
      rows_[plane] = plane == 0 ? height : height / 2;
      image_.stride[plane] = row_bytes_[plane] + padding;
      const auto bytes = static_cast<std::size_t>(image_.stride[plane]) * rows_[plane];
      memory_[plane].assign(bytes + 2 * kMargin, guard);
      image_.plane[plane] = memory_[plane].data() + kMargin;
    }
  }
  GuardedImage(const GuardedImage&) = delete;
  GuardedImage& operator=(const GuardedImage&) = delete;

  QmxImage* get() { return &image_; }
  QmxImage* operator->() { return &image_; }
  int rows(int plane) const { return rows_[plane]; }
  int row_bytes(int plane) const { return row_bytes_[plane]; }
  uint8_t& at(int plane, int row, int byte) { return image_.plane[plane][row * image_.stride[plane] + byte]; }

  void FillRandom(uint32_t seed) {
    std::minstd_rand random(seed);
    ForEachByte([&](uint8_t& byte) { byte = static_cast<uint8_t>(random() >> 8); });
  }
  void Fill(uint8_t value) {
    ForEachByte([value](uint8_t& byte) { byte = value; });
  }

  // The pixels of all planes, row after row.
  std::vector<uint8_t> Pixels() {
    std::vector<uint8_t> pixels;
    ForEachByte([&](uint8_t& byte) { pixels.push_back(byte); });
    return pixels;
  }

  bool GuardsIntact() {
    const std::vector<uint8_t> kept = Pixels();
    Fill(guard_);
    bool intact = true;
    for (int plane = 0; plane < PlaneCount(image_.format); ++plane) {
      for (uint8_t byte : memory_[plane]) intact = intact && byte == guard_;
    }
    std::size_t index = 0;
    ForEachByte([&](uint8_t& byte) { byte = kept[index++]; });
    return intact;
  }

 private:
  static constexpr int kMargin = 64;

  template <typename Function>
  void ForEachByte(Function function) {
    for (int plane = 0; plane < PlaneCount(image_.format); ++plane) {
      for (int row = 0; row < rows_[plane]; ++row) {
        for (int byte = 0; byte < row_bytes_[plane]; ++byte) function(at(plane, row, byte));
      }
    }
  }

  QmxImage image_ = {};
  std::vector<uint8_t> memory_[2];
  int rows_[2] = {};
  int row_bytes_[2] = {};
  uint8_t guard_;
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_PLATFORM_QMX_GUARDED_IMAGE_H_
