// Data for the blur's tests and benches: the same bytes on every machine, and memory that ends at an unreadable page.
#ifndef PEXO_TESTS_BLUR_TEST_DATA_H_
#define PEXO_TESTS_BLUR_TEST_DATA_H_

#include <qmx/qmx_image.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace pexo::testing {

// SplitMix64.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t Next() {
    uint64_t z = (state_ += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }
  int Below(int bound) { return static_cast<int>(Next() % static_cast<uint64_t>(bound)); }

 private:
  uint64_t state_;
};

enum class Pattern { kRandom, kExtremes, kAllWhite, kStripes, kNearWhite };
inline constexpr int kPatterns = 5;

inline void FillPattern(uint8_t* data, size_t size, Pattern pattern, uint64_t seed) {
  Random random(seed);
  for (size_t i = 0; i < size; ++i) {
    const uint64_t value = random.Next() >> 24;
    switch (pattern) {
      case Pattern::kRandom:
        data[i] = static_cast<uint8_t>(value);
        break;
      case Pattern::kExtremes:
        data[i] = value & 1 ? 255 : 0;
        break;
      case Pattern::kAllWhite:
        data[i] = 255;
        break;
      case Pattern::kStripes:
        data[i] = i & 1 ? 255 : 0;
        break;
      case Pattern::kNearWhite:
        data[i] = static_cast<uint8_t>(252 + (value & 3));
        break;
    }
  }
}

// FNV-1a.
inline uint64_t Hash(const uint8_t* data, size_t size, uint64_t hash = 0xcbf29ce484222325u) {
  for (size_t i = 0; i < size; ++i) {
    hash = (hash ^ data[i]) * 0x100000001b3u;
  }
  return hash;
}

// Readable bytes between two unreadable pages.
class GuardedBytes {
 public:
  explicit GuardedBytes(size_t pages) : size_(pages * kPage) {
    void* memory = mmap(nullptr, size_ + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    begin_ = static_cast<uint8_t*>(memory) + kPage;
    if (memory == MAP_FAILED || mprotect(begin_, size_, PROT_READ | PROT_WRITE) != 0) {
      std::abort();
    }
  }
  ~GuardedBytes() { munmap(begin_ - kPage, size_ + 2 * kPage); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  uint8_t* begin() const { return begin_; }
  size_t size() const { return size_; }
  // `bytes` bytes that touch the unreadable page above or below.
  uint8_t* AtEdge(size_t bytes, bool upper) const { return upper ? begin_ + size_ - bytes : begin_; }

 private:
  static constexpr size_t kPage = 65536;  // a multiple of every page size in use
  uint8_t* begin_;
  size_t size_;
};

// A two-plane frame, or with format 9 a mask, with `padding` bytes after each row. The rows' own bytes are a picture
// with smooth parts, edges and noise.
class TestImage {
 public:
  TestImage(int width, int height, int32_t format, uint64_t seed, int padding = 0) {
    image_.format = format;
    image_.width = width;
    image_.height = height;
    Random random(seed);
    for (int plane = 0; plane < (format == QMX_FORMAT_GRAY8 ? 1 : 2); ++plane) {
      const int rows = plane == 0 ? height : height / 2;
      image_.stride[plane] = width + padding;
      planes_[plane].resize(static_cast<size_t>(rows) * static_cast<size_t>(width + padding));
      const int slope = 1 + random.Below(5);
      for (size_t i = 0; i < planes_[plane].size(); ++i) {
        const int x = static_cast<int>(i) % (width + padding), y = static_cast<int>(i) / (width + padding);
        const int ramp = x * slope + y * 3;
        const int noise = static_cast<int>(random.Next() & 31);
        planes_[plane][i] = static_cast<uint8_t>(((x >> 3) ^ (y >> 4)) & 1 ? 255 - noise : ramp + noise);
      }
      image_.plane[plane] = planes_[plane].data();
    }
  }
  TestImage(const TestImage&) = delete;
  TestImage& operator=(const TestImage&) = delete;

  QmxImage& image() { return image_; }
  const QmxImage& image() const { return image_; }
  std::vector<uint8_t>& plane(int index) { return planes_[index]; }

  void Fill(uint8_t value) {
    for (std::vector<uint8_t>& plane : planes_) {
      plane.assign(plane.size(), value);
    }
  }
  bool SameBytes(const TestImage& other) const {
    return planes_[0] == other.planes_[0] && planes_[1] == other.planes_[1];
  }
  uint64_t HashAll() const {
    return Hash(planes_[1].data(), planes_[1].size(), Hash(planes_[0].data(), planes_[0].size()));
  }

 private:
  QmxImage image_{};
  std::vector<uint8_t> planes_[2];
};

}  // namespace pexo::testing

#endif  // PEXO_TESTS_BLUR_TEST_DATA_H_
