// Data for tests and benches of pixels: the same bytes on every machine, in memory that ends at an unreadable page.
#ifndef PEXO_TESTS_SUPPORT_GUARDED_IMAGE_H_
#define PEXO_TESTS_SUPPORT_GUARDED_IMAGE_H_

#include <qmx/qmx_image.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <span>

namespace pexo::test {

// At least `size` readable bytes between two unreadable pages.
class GuardedBytes {
 public:
  GuardedBytes(int size) : size_((static_cast<size_t>(size) + kPage - 1) / kPage * kPage) {
    void* memory = mmap(nullptr, size_ + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    begin_ = static_cast<uint8_t*>(memory) + kPage;
    if (memory == MAP_FAILED || mprotect(begin_, size_, PROT_READ | PROT_WRITE) != 0) std::abort();
  }
  ~GuardedBytes() { munmap(begin_ - kPage, size_ + 2 * kPage); }
  GuardedBytes& operator=(GuardedBytes&&) = delete;  // and no copies

  // `bytes` bytes that touch the unreadable page above or below.
  std::span<uint8_t> AtEdge(size_t bytes, bool upper) const { return {upper ? begin_ + size_ - bytes : begin_, bytes}; }
  std::span<uint8_t> all() const { return {begin_, size_}; }

 private:
  static constexpr size_t kPage = 65536;  // a multiple of every page size in use
  uint8_t* begin_;
  size_t size_;
};

// A two-plane frame, or with format 9 a mask, with `padding` bytes between its rows: a picture with smooth parts, edges
// and noise. The planes touch unreadable pages, for most seeds with their ends.
class GuardedImage {
 public:
  GuardedImage(int width, int height, int32_t format, unsigned seed, int padding = 0)
      : image_{format, width, height, {}, {}}, memory_{(width + padding) * height, (width + padding) * height} {
    std::minstd_rand random(seed);
    for (int i = 0; i < (format == QMX_FORMAT_GRAY8 ? 1 : 2); ++i) {
      const int step = width + padding, rows = height / (i + 1);
      planes_[i] = memory_[i].AtEdge(static_cast<size_t>(step * rows - padding), seed % 4 != 0);
      image_.plane[i] = planes_[i].data();
      image_.stride[i] = step;
      const int slope = 1 + static_cast<int>(random() % 5);
      for (int at = 0; at < step * rows - padding; ++at) {
        const int x = at % step, y = at / step, noise = static_cast<int>(random() >> 8 & 31);
        image_.plane[i][at] = static_cast<uint8_t>((x / 8 ^ y / 16) % 2 ? 255 - noise : x * slope + y * 3 + noise);
      }
    }
  }

  QmxImage& image() { return image_; }
  const QmxImage& image() const { return image_; }
  std::span<uint8_t> plane(int index) const { return planes_[index]; }
  bool SameBytes(const GuardedImage& other) const {
    return std::ranges::equal(planes_[0], other.planes_[0]) && std::ranges::equal(planes_[1], other.planes_[1]);
  }

 private:
  QmxImage image_;
  GuardedBytes memory_[2];
  std::span<uint8_t> planes_[2];
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_SUPPORT_GUARDED_IMAGE_H_
