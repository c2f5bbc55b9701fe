// SPDX-License-Identifier: Apache-2.0
// The composites, on planes that touch unreadable pages, against the list of whole-plane steps.
#include "blur/background_blur.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "blur/plane_filters.h"
#include "tests/blur/naive_blur.h"
#include "tests/support/failing_heap.h"
#include "tests/support/test_image.h"

namespace {

constexpr int kUntouched = -1;

// The heap and the image library as the composite sees them (linked with --wrap).
int heap_fill = kUntouched;  // what fresh memory holds
int dead_resize = -1;        // how many resizes do something before one does nothing; with a negative number all do

}  // namespace

extern "C" void* __real_malloc(size_t size);
extern "C" int32_t __real_qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation);

extern "C" void* __wrap_malloc(size_t size) {
  void* memory = pexo::test::AllocationFails() ? nullptr : __real_malloc(size);
  if (memory != nullptr && heap_fill != kUntouched) std::memset(memory, heap_fill, size);
  return memory;
}

extern "C" QmxImage __wrap_qmxImageCreate(int32_t width, int32_t height, int32_t format) {
  const int32_t stride = width + 8;  // the blur has to heed gaps between rows
  auto* const luma = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(stride * height * 3 / 2)));
  if (luma == nullptr) return {};
  return {format, width, height, {luma, luma + stride * height}, {stride, stride}};
}

extern "C" int32_t __wrap_qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation) {
  EXPECT_TRUE(source->format == QMX_FORMAT_GRAY8 || source->format == QMX_FORMAT_NV21);
  EXPECT_EQ(source->format, destination->format);
  EXPECT_EQ(interpolation, QMX_INTERPOLATION_BILINEAR);
  if (dead_resize < 0 || dead_resize-- > 0) __real_qmxResize(source, destination, interpolation);
  return 1;  // any number must do
}

namespace pexo::test {
namespace {

struct Size {
  int width, height;
};

// `dead`: the resize that brings the mask and does nothing, so that nobody is in front.
void ExpectExact(Size size, Size mask_size, float strength = 1.5f, int32_t format = QMX_FORMAT_NV21, int dead = -1) {
  const auto [width, height] = size;
  const auto seed = static_cast<uint32_t>(width + 3 * height + 5 * mask_size.width);
  // Only the unaligned variant knows the stride of its mask.
  const int padding = width % 5, mask_padding = width % 8 + height % 8;
  const TestImage frame = TestImage::Picture(width, height, seed, format, padding);
  const TestImage mask =
      TestImage::Picture(mask_size.width, mask_size.height, seed + 1, QMX_FORMAT_GRAY8, mask_padding);
  TestImage output = TestImage::Noise(width, height, 99, format, padding), expected(output);
  const TestImage nobody(mask_size.width, mask_size.height, QMX_FORMAT_GRAY8, mask_padding);
  NaiveBackgroundBlur(frame, expected, dead < 0 ? mask : nobody, strength);
  dead_resize = dead;
  ComposeBackgroundBlur(frame, output, mask, strength);
  ASSERT_TRUE(output == expected) << width << "x" << height << " format " << format << " mask " << mask_size.width
                                  << "x" << mask_size.height << " strength " << strength;
}

// Equal, half, smaller than half both ways, larger, and equal one way but smaller than half the other.
std::vector<Size> MaskSizes(Size size) {
  const auto [width, height] = size;
  return {size,
          Size{width / 2, height / 2},
          Size{std::max(1, width / 3), std::max(1, height / 3)},
          Size{width + 10, height + 6},
          Size{width, std::max(1, height / 5)},
          Size{std::max(1, width / 5), height}};
}

TEST(BackgroundBlur, ExactAtEverySmallSizeWhateverFreshMemoryHolds) {
  heap_fill = 0xa5;
  for (int i = 0; i < 33 * 33; ++i) {
    const Size size{2 + i / 33 * 2, 2 + i % 33 * 2};
    for (const Size& mask_size : MaskSizes(size)) ASSERT_NO_FATAL_FAILURE(ExpectExact(size, mask_size));
  }
  heap_fill = kUntouched;
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
        ExpectExact(size, mask_size, strength);
        ExpectExact(size, mask_size, strength, QMX_FORMAT_NV12);
      }
    }
  }
}

TEST(BackgroundBlur, AMaskThatDoesNotArriveHidesTheBackground) {
  heap_fill = 255;  // a person everywhere
  for (const Size& size : {Size{1280, 720}, Size{8, 16}}) ExpectExact(size, {20, 20}, 1.5f, QMX_FORMAT_NV21, 3);
  for (const Size& size : {Size{642, 482}, Size{6, 4}}) ExpectExact(size, {20, 20}, 1.5f, QMX_FORMAT_NV21, 0);
  heap_fill = kUntouched;
}

// The sanitizer and valgrind look for leaks.
TEST(BackgroundBlur, AFailedAllocationLeavesTheOutput) {
  for (const Size& size : {Size{64, 64}, Size{62, 60}}) {
    const TestImage frame = TestImage::Noise(size.width, size.height, 2), untouched(size.width, size.height);
    const TestImage mask = TestImage::Noise(20, 20, 3, QMX_FORMAT_GRAY8);
    bool failed = true;
    for (int allocation = 0; failed; ++allocation) {
      TestImage output(untouched);
      bool done = false;
      failed = Strikes(allocation, [&] { done = TryComposeBackgroundBlur(frame, output, mask, 1.5f); });
      EXPECT_TRUE(failed || allocation > 0);
      EXPECT_EQ(done, !failed);
      EXPECT_EQ(output == untouched, failed);
    }
  }
  const uint8_t source = 1;
  uint8_t destination = 7;
  EXPECT_TRUE(Strikes(0, [&] { EXPECT_EQ(BoxFilter(&source, 1, 1, 1, &destination, 1, 1), 0); }));
  EXPECT_EQ(destination, 7);
}

}  // namespace
}  // namespace pexo::test
