// The composites, on planes that touch unreadable pages, against the list of whole-plane steps.
#include "blur/background_blur.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "blur/plane_filters.h"
#include "tests/blur/naive_blur.h"
#include "tests/support/guarded_image.h"

namespace {

constexpr int kUntouched = -1;

// The heap and the image library as the composite sees them (linked with --wrap).
struct {
  int fill = kUntouched;  // what fresh memory holds
  int fail_at = -1;       // this allocation, counted from 0, fails; the ones after it work again
  int allocations = 0;
  int failing_resize = -1;  // the same of the image library's resizes
  int resizes = 0;
} host;

}  // namespace

extern "C" void* __real_malloc(size_t size);
extern "C" int32_t __real_qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation);

extern "C" void* __wrap_malloc(size_t size) {
  void* memory = host.allocations++ == host.fail_at ? nullptr : __real_malloc(size);
  if (memory != nullptr && host.fill != kUntouched) std::memset(memory, host.fill, size);
  return memory;
}

extern "C" int32_t __wrap_qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation) {
  EXPECT_TRUE(source->format == QMX_FORMAT_GRAY8 || source->format == QMX_FORMAT_NV21);
  EXPECT_EQ(source->format, destination->format);
  EXPECT_EQ(interpolation, QMX_INTERPOLATION_BILINEAR);
  return host.resizes++ == host.failing_resize ? 1 : __real_qmxResize(source, destination, interpolation);
}

namespace pexo {
namespace {

using test::GuardedImage;
constexpr int32_t kNv21 = QMX_FORMAT_NV21;

struct Size {
  int width, height;
};

void ExpectExact(Size size, Size mask_size, float strength = 1.5f, int heap_fill = 0xa5, int32_t format = kNv21) {
  const auto seed = static_cast<unsigned>(size.width + 3 * size.height + 5 * mask_size.width);
  // Only the unaligned variant knows the stride of its mask.
  const int padding = size.width % 5, mask_padding = size.width % 8 + size.height % 8;
  const GuardedImage frame(size.width, size.height, format, seed, padding);
  const GuardedImage mask(mask_size.width, mask_size.height, QMX_FORMAT_GRAY8, seed + 1, mask_padding);
  const GuardedImage expected(size.width, size.height, format, 99, padding);
  GuardedImage output(size.width, size.height, format, 99, padding);
  test::NaiveBackgroundBlur(frame.image(), expected.image(), mask.image(), strength);
  // A resize that fails cannot be seen: the composite takes the nearest pixels then, as the tests' image library does.
  host = {.fill = heap_fill, .failing_resize = static_cast<int>(seed % 7)};
  ComposeBackgroundBlur(frame.image(), output.image(), mask.image(), strength);
  host = {};
  ASSERT_TRUE(output.SameBytes(expected)) << size.width << "x" << size.height << " format " << format << " mask "
                                          << mask_size.width << "x" << mask_size.height << " strength " << strength;
}

// Equal, half, smaller than half both ways, larger, and sizes that cross in one direction.
std::vector<Size> MaskSizes(Size size) {
  const auto [width, height] = size;
  return {size, Size{width / 2, height / 2}, Size{std::max(1, width / 3), std::max(1, height / 3)},
          Size{width + 10, height + 6}, Size{width / 2, std::max(1, height / 5)}};
}

TEST(BackgroundBlur, ExactAtEverySmallSizeWhateverFreshMemoryHolds) {
  for (int i = 0; i < 33 * 33; ++i) {
    const Size size{2 + i / 33 * 2, 2 + i % 33 * 2};
    for (const Size& mask_size : MaskSizes(size)) ASSERT_NO_FATAL_FAILURE(ExpectExact(size, mask_size));
  }
}

TEST(BackgroundBlur, ExactAtCameraSizes) {
  for (const Size& size : {Size{1920, 1080}, Size{1080, 1920}, Size{1280, 720}, Size{1284, 720}, Size{642, 482}}) {
    ExpectExact(size, size);
    ExpectExact(size, {128, 128});
  }
}

// The heap as it is, for valgrind, which sees bytes that nobody wrote when the results are compared.
TEST(BackgroundBlur, ExactAtOtherStrengthsAndFormatsOnAnUntouchedHeap) {
  for (const float strength : {std::nanf(""), -1e30f, 0.0f, 0.89f, 0.9f, 1.0f, 2.0f, 3.9f, 5.0f, 8.0f, 40.0f}) {
    for (const Size& size : {Size{64, 48}, Size{62, 50}, Size{8, 8}, Size{4, 6}, Size{2, 2}, Size{70, 18}}) {
      for (const Size& mask_size : MaskSizes(size)) {
        ExpectExact(size, mask_size, strength, kUntouched, kNv21);
        ExpectExact(size, mask_size, strength, kUntouched, QMX_FORMAT_NV12);
      }
    }
  }
}

// The sanitizer and valgrind look for leaks.
TEST(BackgroundBlur, AFailedAllocationLeavesTheOutput) {
  for (const Size& size : {Size{64, 64}, Size{62, 60}}) {
    const GuardedImage frame(size.width, size.height, kNv21, 2), mask(20, 20, QMX_FORMAT_GRAY8, 3);
    const GuardedImage untouched(size.width, size.height, kNv21, 5);
    bool failed = true;
    for (int fail_at = 0; failed; ++fail_at) {
      GuardedImage output(size.width, size.height, kNv21, 5);
      host = {.fail_at = fail_at};
      const bool done = TryComposeBackgroundBlur(frame.image(), output.image(), mask.image(), 1.5f);
      failed = host.allocations > fail_at;
      EXPECT_TRUE(failed || fail_at > 0);
      EXPECT_EQ(done, !failed);
      EXPECT_EQ(output.SameBytes(untouched), failed);
    }
  }
  const uint8_t source = 1;
  uint8_t destination = 7;
  host = {.fail_at = 0};
  EXPECT_EQ(BoxFilter(&source, 1, 1, 1, &destination, 1, 1), 0);
  EXPECT_EQ(destination, 7);
  host = {};
}

}  // namespace
}  // namespace pexo
