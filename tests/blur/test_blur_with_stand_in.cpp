// The composites on the image library that the host builds have.
#include <gtest/gtest.h>

#include <cstdlib>

#include "blur/background_blur.h"
#include "tests/blur/test_data.h"

namespace pexo {
namespace {

using testing::TestImage;

struct Size {
  int width;
  int height;
};

TEST(BlurWithStandIn, BothRoutesBlurTheBackgroundAndKeepThePerson) {
  for (const Size& size : {Size{1920, 1080}, Size{1080, 1920}, Size{1280, 720}, Size{1284, 720}, Size{64, 40}}) {
    for (const int32_t format : {QMX_FORMAT_NV12, QMX_FORMAT_NV21}) {
      SCOPED_TRACE(::testing::Message() << size.width << "x" << size.height << " format " << format);
      // Vertical stripes one pixel wide vanish in the blur; the person stands in the left half.
      TestImage frame(size.width, size.height, format, 1), output(size.width, size.height, format, 2);
      TestImage mask(size.width, size.height, QMX_FORMAT_GRAY8, 3);
      for (size_t i = 0; i < frame.plane(0).size(); ++i) {
        const int x = static_cast<int>(i) % size.width;
        frame.plane(0)[i] = x % 2 ? 200 : 100;
        mask.plane(0)[i] = x < size.width / 2 ? 255 : 0;
      }
      for (size_t i = 0; i < frame.plane(1).size(); ++i) {
        frame.plane(1)[i] = i % 2 ? 90 : 160;
      }
      ComposeBackgroundBlur(frame.image(), output.image(), mask.image(), 1.5f);
      for (int x = 8; x < size.width - 8; ++x) {
        const int luma = output.plane(0)[static_cast<size_t>(size.height / 2 * size.width + x)];
        if (x < size.width / 2 - 8) {
          ASSERT_EQ(luma, x % 2 ? 200 * 255 / 256 : 100 * 255 / 256) << x;
        } else if (x > size.width / 2 + 8) {
          ASSERT_LE(std::abs(luma - 150), 2) << x;
        }
      }
      for (size_t i = 0; i < output.plane(1).size(); ++i) {
        ASSERT_EQ(output.plane(1)[i], i % 2 ? 90 : 160) << "the order of the pairs";
      }
    }
  }
}

}  // namespace
}  // namespace pexo
