#include "blur/background_blur.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "tests/blur/naive_blur.h"
#include "tests/blur/plain_image_library.h"
#include "tests/blur/test_data.h"
#include "tests/blur/wrapped_malloc.h"

namespace pexo {
namespace {

using testing::heap;
using testing::TestImage;

constexpr float kStrength = 1.5f;

class ArmedHeap {
 public:
  explicit ArmedHeap(uint8_t fill, int fail_at = -1) { heap() = {true, fill, fail_at, 0, 0}; }
  ~ArmedHeap() { heap().armed = false; }
};

struct Size {
  int width;
  int height;
};

// Runs the composite twice with different bytes in fresh memory and in the output, and holds both against the list of
// whole-plane steps.
void ExpectExact(const TestImage& frame, const TestImage& mask, float strength) {
  const QmxImage& input = frame.image();
  const int padding = input.stride[0] - input.width;
  SCOPED_TRACE(::testing::Message() << input.width << "x" << input.height << " padding " << padding << " mask "
                                    << mask.image().width << "x" << mask.image().height << " strength " << strength);
  for (const int fill : {0x00, 0xa5}) {
    TestImage output(input.width, input.height, input.format, 1, padding);
    TestImage expected(input.width, input.height, input.format, 1, padding);
    output.Fill(static_cast<uint8_t>(fill));
    expected.Fill(static_cast<uint8_t>(fill));
    testing::NaiveBackgroundBlur(input, expected.image(), mask.image(), strength);
    {
      const ArmedHeap armed(static_cast<uint8_t>(~fill));
      ComposeBackgroundBlur(input, output.image(), mask.image(), strength);
      EXPECT_EQ(heap().live, 0);
    }
    ASSERT_TRUE(output.SameBytes(expected));
  }
}

// Equal, half, smaller than half both ways, larger, and sizes that cross in one direction.
std::vector<Size> MaskSizes(int width, int height) {
  return {{width, height},
          {width / 2, height / 2},
          {std::max(1, width / 3), std::max(1, height / 3)},
          {width + 10, height + 6},
          {width / 2, std::max(1, height / 5)}};
}

TEST(BackgroundBlur, ExactAtEverySmallSize) {
  uint64_t seed = 0;
  for (int width = 2; width <= 66; width += 2) {
    for (int height = 2; height <= 66; height += 2) {
      ++seed;
      const TestImage frame(width, height, QMX_FORMAT_NV21, seed, static_cast<int>(seed % 3));
      for (const Size& size : MaskSizes(width, height)) {
        const TestImage mask(size.width, size.height, QMX_FORMAT_GRAY8, seed);
        ExpectExact(frame, mask, kStrength);
        ASSERT_FALSE(HasFailure());
      }
    }
  }
  EXPECT_EQ(testing::image_library().rejected, 0);
}

TEST(BackgroundBlur, ExactAtCameraSizes) {
  for (const Size& size : {Size{1920, 1080}, Size{1080, 1920}, Size{1280, 720}, Size{1284, 720}, Size{642, 482}}) {
    const TestImage frame(size.width, size.height, QMX_FORMAT_NV21, 7);
    for (const Size& mask_size : {size, Size{128, 128}}) {
      const TestImage mask(mask_size.width, mask_size.height, QMX_FORMAT_GRAY8, 8);
      ExpectExact(frame, mask, kStrength);
    }
  }
}

// Memory as malloc left it: for valgrind, which sees bytes that nobody wrote when the results are compared.
TEST(BackgroundBlur, ExactOnAnUntouchedHeap) {
  for (int width = 2; width <= 66; width += 4) {
    for (const int height : {2, 4, 6, 10, 32, 66}) {
      for (const Size& size : {Size{width, height}, Size{width + 2, height + height % 8}}) {
        const TestImage frame(size.width, size.height, QMX_FORMAT_NV21, 5);
        for (const Size& mask_size : MaskSizes(size.width, size.height)) {
          const TestImage mask(mask_size.width, mask_size.height, QMX_FORMAT_GRAY8, 6);
          TestImage output(size.width, size.height, QMX_FORMAT_NV21, 1);
          TestImage expected(size.width, size.height, QMX_FORMAT_NV21, 2);
          ComposeBackgroundBlur(frame.image(), output.image(), mask.image(), kStrength);
          testing::NaiveBackgroundBlur(frame.image(), expected.image(), mask.image(), kStrength);
          ASSERT_TRUE(output.SameBytes(expected)) << size.width << "x" << size.height;
        }
      }
    }
  }
}

TEST(BackgroundBlur, StaysInsideItsPlanes) {
  testing::GuardedBytes guards[5] = {testing::GuardedBytes(1), testing::GuardedBytes(1), testing::GuardedBytes(1),
                                     testing::GuardedBytes(1), testing::GuardedBytes(1)};
  for (int width = 2; width <= 66; width += 2) {
    for (int height = 2; height <= 66; height += 2) {
      for (const bool upper_edge : {false, true}) {
        for (const Size& mask_size : MaskSizes(width, height)) {
          // Every plane touches an unreadable page.
          const auto place = [&](int guard, const TestImage& from, int plane) {
            const QmxImage& image = from.image();
            const size_t rows = static_cast<size_t>(plane == 0 ? image.height : image.height / 2);
            const size_t bytes = rows * static_cast<size_t>(image.width);
            uint8_t* to = guards[guard].AtEdge(bytes, upper_edge);
            std::memcpy(to, image.plane[plane], bytes);
            return to;
          };
          const TestImage picture(width, height, QMX_FORMAT_NV21, 5);
          const TestImage mask_picture(mask_size.width, mask_size.height, QMX_FORMAT_GRAY8, 6);
          QmxImage frame = picture.image(), output = picture.image(), mask = mask_picture.image();
          frame.plane[0] = place(0, picture, 0);
          frame.plane[1] = place(1, picture, 1);
          output.plane[0] = place(2, picture, 0);
          output.plane[1] = place(3, picture, 1);
          mask.plane[0] = place(4, mask_picture, 0);
          ComposeBackgroundBlur(frame, output, mask, kStrength);
        }
      }
    }
  }
}

TEST(BackgroundBlur, ExactAtOtherStrengthsAndFormats) {
  for (const float strength : {0.0f, 0.89f, 0.9f, 1.0f, 2.0f, 3.9f, 5.0f, 8.0f, 40.0f}) {
    for (const Size& size : {Size{64, 48}, Size{62, 50}, Size{8, 8}, Size{4, 6}, Size{70, 18}}) {
      for (const int32_t format : {QMX_FORMAT_NV12, QMX_FORMAT_NV21}) {
        const TestImage frame(size.width, size.height, format, 3, 5);
        const TestImage mask(size.width / 2 - 1, size.height / 2 - 1, QMX_FORMAT_GRAY8, 4);
        ExpectExact(frame, mask, strength);
        EXPECT_EQ(frame.image().format, format);
      }
    }
  }
  EXPECT_EQ(testing::image_library().rejected, 0);
}

TEST(BackgroundBlur, AMaskWithPaddedRowsIsReadByItsStrideOnTheUnalignedRoute) {
  const TestImage frame(62, 50, QMX_FORMAT_NV21, 3);
  const TestImage mask(62, 50, QMX_FORMAT_GRAY8, 4, 9);
  ExpectExact(frame, mask, kStrength);
}

TEST(BackgroundBlur, SharpWherePersonBlurredElsewhere) {
  for (const Size& size : {Size{64, 64}, Size{62, 60}}) {
    const TestImage frame(size.width, size.height, QMX_FORMAT_NV21, 11);
    TestImage output(size.width, size.height, QMX_FORMAT_NV21, 1);
    TestImage mask(size.width, size.height, QMX_FORMAT_GRAY8, 1);
    mask.Fill(255);
    ComposeBackgroundBlur(frame.image(), output.image(), mask.image(), kStrength);
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        const bool corner = size.width % 8 == 0 && y >= size.height - 4 && (x < 4 || x >= size.width - 4);
        const int sharp = frame.image().plane[0][y * size.width + x];
        ASSERT_EQ(output.image().plane[0][y * size.width + x], corner ? sharp : sharp * 255 / 256) << x << ", " << y;
      }
    }
  }
}

TEST(BackgroundBlur, AFailedAllocationReturnsAndLeaksNothing) {
  for (const Size& size : {Size{64, 64}, Size{62, 60}}) {
    for (const Size& mask_size : MaskSizes(size.width, size.height)) {
      const TestImage frame(size.width, size.height, QMX_FORMAT_NV21, 2);
      const TestImage mask(mask_size.width, mask_size.height, QMX_FORMAT_GRAY8, 3);
      TestImage untouched(size.width, size.height, QMX_FORMAT_NV21, 4);
      int allocations = 1;
      for (int fail_at = 0; fail_at < allocations; ++fail_at) {
        TestImage output(size.width, size.height, QMX_FORMAT_NV21, 4);
        const ArmedHeap armed(0x5a, fail_at);
        ComposeBackgroundBlur(frame.image(), output.image(), mask.image(), kStrength);
        EXPECT_EQ(heap().live, 0);
        EXPECT_TRUE(output.SameBytes(untouched));
        ASSERT_LE(heap().allocations, 100);
        if (heap().allocations > fail_at + 1) {
          allocations = heap().allocations;
        } else if (fail_at == 0) {
          // The first failure ends the call: count what a whole call makes.
          const ArmedHeap counting(0);
          TestImage whole(size.width, size.height, QMX_FORMAT_NV21, 4);
          ComposeBackgroundBlur(frame.image(), whole.image(), mask.image(), kStrength);
          allocations = heap().allocations;
          EXPECT_FALSE(whole.SameBytes(untouched));
        }
      }
    }
  }
}

TEST(BackgroundBlur, FailedResizesNeverShowUnwrittenMemory) {
  for (const Size& size : {Size{64, 64}, Size{62, 60}}) {
    const TestImage frame(size.width, size.height, QMX_FORMAT_NV21, 2);
    const TestImage mask(20, 20, QMX_FORMAT_GRAY8, 3);
    TestImage outputs[2] = {TestImage(size.width, size.height, QMX_FORMAT_NV21, 4),
                            TestImage(size.width, size.height, QMX_FORMAT_NV21, 4)};
    testing::image_library().fail_resizes = true;
    for (const int i : {0, 1}) {
      const ArmedHeap armed(i ? 0xff : 0x00);
      ComposeBackgroundBlur(frame.image(), outputs[i].image(), mask.image(), kStrength);
      EXPECT_EQ(heap().live, 0);
    }
    testing::image_library().fail_resizes = false;
    EXPECT_TRUE(outputs[0].SameBytes(outputs[1]));
  }
}

TEST(BackgroundBlur, OddStrengthsAreNoTrap) {
  const TestImage frame(64, 48, QMX_FORMAT_NV21, 2);
  const TestImage mask(64, 48, QMX_FORMAT_GRAY8, 3);
  TestImage sharp(64, 48, QMX_FORMAT_NV21, 4), output(64, 48, QMX_FORMAT_NV21, 4);
  ComposeBackgroundBlur(frame.image(), sharp.image(), mask.image(), 0.0f);
  for (const float strength : {-1.5f, -1e30f, std::nanf("")}) {
    ComposeBackgroundBlur(frame.image(), output.image(), mask.image(), strength);
    EXPECT_TRUE(output.SameBytes(sharp)) << strength;
  }
}

}  // namespace
}  // namespace pexo
