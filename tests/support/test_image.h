// SPDX-License-Identifier: Apache-2.0
// The image of tests and benches.
#ifndef PEXO_TESTS_SUPPORT_TEST_IMAGE_H_
#define PEXO_TESTS_SUPPORT_TEST_IMAGE_H_

#include <qmx/qmx_image.h>
#include <sys/mman.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <random>
#include <vector>

namespace pexo::test {

// Blocks that end where an unreadable page begins. Those of whole pages also begin where one ends.
template <typename Byte>
struct GuardedAllocator {
  using value_type = Byte;
  static constexpr size_t kPage = 65536;  // a multiple of every page size in use

  Byte* allocate(size_t bytes) {
    void* memory = mmap(nullptr, Readable(bytes) + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    Byte* begin = static_cast<Byte*>(memory) + kPage;
    if (memory == MAP_FAILED || mprotect(begin, Readable(bytes), PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    return begin + Readable(bytes) - bytes;
  }
  void deallocate(Byte* data, size_t bytes) {
    munmap(data + bytes - Readable(bytes) - kPage, Readable(bytes) + 2 * kPage);
  }
  bool operator==(const GuardedAllocator&) const = default;

 private:
  static size_t Readable(size_t bytes) { return (bytes + kPage - 1) / kPage * kPage; }
};

using Pixels = std::vector<uint8_t, GuardedAllocator<uint8_t>>;

// An image and its pixels, 0 to begin with. Rows are `padding` bytes longer than they must be. Formats that are not
// known have one byte a pixel.
struct TestImage : QmxImage {
  TestImage(int32_t columns, int32_t rows, int32_t code = QMX_FORMAT_NV21, int32_t padding = 0)
      : QmxImage{code, columns, rows, {}, {}} {
    for (int i = 0; i < PlaneCount(); ++i) {
      stride[i] = (columns >> i) * Channels(i) + padding;
      pixels[i].resize(static_cast<size_t>(stride[i]) * static_cast<size_t>(rows >> i));
      plane[i] = pixels[i].data();
    }
  }
  TestImage(const TestImage& other) : QmxImage(other), pixels(other.pixels) {
    for (int i = 0; i < PlaneCount(); ++i) plane[i] = pixels[i].data();
  }
  TestImage(TestImage&&) = default;
  TestImage& operator=(const TestImage& other) { return *this = TestImage(other); }
  TestImage& operator=(TestImage&&) = default;

  static TestImage Noise(int32_t width, int32_t height, uint32_t seed, int32_t format = QMX_FORMAT_NV21,
                         int32_t padding = 0) {
    TestImage image(width, height, format, padding);
    std::mt19937 random(seed);
    for (Pixels& bytes : image.pixels) {
      for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    }
    return image;
  }

  // With smooth parts, edges and a little noise.
  static TestImage Picture(int32_t width, int32_t height, uint32_t seed, int32_t format = QMX_FORMAT_NV21,
                           int32_t padding = 0) {
    TestImage image = Noise(width, height, seed, format, padding);
    const int slope = 1 + static_cast<int>(seed % 5);
    for (int i = 0; i < image.PlaneCount(); ++i) {
      for (int at = 0; at < std::ssize(image.pixels[i]); ++at) {
        const int x = at % image.stride[i], y = at / image.stride[i], noise = image.plane[i][at] % 32;
        image.plane[i][at] = static_cast<uint8_t>((x / 8 ^ y / 16) % 2 ? 255 - noise : x * slope + y * 3 + noise);
      }
    }
    return image;
  }

  int PlaneCount() const { return format == QMX_FORMAT_NV12 || format == QMX_FORMAT_NV21 ? 2 : 1; }
  int Channels(int i) const { return i == 1 ? 2 : format == QMX_FORMAT_BGR888 || format == QMX_FORMAT_RGB888 ? 3 : 1; }
  uint8_t& At(int i, int row, int column, int channel = 0) const {
    return plane[i][row * stride[i] + column * Channels(i) + channel];
  }
  bool operator==(const TestImage& other) const { return pixels == other.pixels; }

  std::array<Pixels, 2> pixels;
};

// A GRAY8 image doubled and moved up and left by one pixel; the last row and the last column stay.
inline TestImage DoubledAndMoved(const TestImage& gray) {
  TestImage doubled(2 * gray.width, 2 * gray.height, QMX_FORMAT_GRAY8);
  qmxResize(&gray, &doubled, QMX_INTERPOLATION_BILINEAR);
  TestImage moved(doubled);
  for (int y = 0; y + 1 < moved.height; ++y) {
    for (int x = 0; x + 1 < moved.width; ++x) moved.At(0, y, x) = doubled.At(0, y + 1, x + 1);
  }
  return moved;
}

}  // namespace pexo::test

#endif  // PEXO_TESTS_SUPPORT_TEST_IMAGE_H_
