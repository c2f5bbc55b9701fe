// SPDX-License-Identifier: Apache-2.0
// The primitives that move pixels between images, against naive forms of them.
#include "network/image.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "tests/support/test_image.h"

namespace {

int resizes = 0;

}  // namespace

// Counts on the way to the image library (linked with --wrap).
extern "C" int32_t __real_qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation);
extern "C" int32_t __wrap_qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation) {
  ++resizes;
  return __real_qmxResize(source, destination, interpolation);
}

namespace pexo::test {
namespace {

TEST(Image, ConvertImageDecidesByFormatsThenBySizes) {
  const std::map<std::pair<int32_t, int32_t>, int32_t (*)(const QmxImage*, QmxImage*)> colours = {
      {{18, 2}, qmxColorNV21toRGB888u8},
      {{18, 1}, qmxColorNV21toBGR888u8},
      {{2, 18}, qmxColorRGB888toNV21u8},
      {{1, 18}, qmxColorBGR888toNV21u8}};
  for (const int32_t from : {1, 2, 7, 9, 17, 18, 5}) {
    for (const int32_t to : {1, 2, 7, 9, 17, 18, 5}) {
      for (const int32_t width : {4, 8}) {  // of the source; 4 is the destination's
        const TestImage source = TestImage::Noise(width, 2, 1, from, 3);
        TestImage destination = TestImage::Noise(4, 2, 2, to, 3), expected(destination);
        const auto colour = colours.find({from, to});
        const bool resized = from == to ? width != 4 : from * to == 7;
        if (colour != colours.end()) {
          colour->second(&source, &expected);
        } else if (from * to == 2) {  // red and blue change places, row by row
          for (int i = 0; i < 8; ++i) {
            for (const int c : {0, 1, 2}) expected.At(0, i / 4, i % 4, c) = source.At(0, i / 4, i % 4, 2 - c);
          }
        } else if (resized) {
          qmxResize(&source, &expected, 0);
        } else if (from == to && from != 7 && from != 5) {
          expected.pixels = source.pixels;  // the padding too
        }
        Image borrowed = Image::Borrow(destination);
        borrowed.interpolation = 0;
        resizes = 0;
        ConvertImage(borrowed, source);
        EXPECT_EQ(resizes, resized ? 1 : 0) << from << " to " << to << ", width " << width;
        EXPECT_EQ(destination.pixels, expected.pixels) << from << " to " << to << ", width " << width;
      }
    }
  }
}

TEST(Image, RotateImageTurnsInPlace) {
  for (const int32_t format : {9, 1, 2}) {
    for (const auto& [width, height] : {std::pair{2, 2}, {3, 2}, {4, 7}}) {
      for (const int32_t degrees : {0, 90, 180, 270, 45, -90, 450}) {
        const TestImage before = TestImage::Noise(width, height, 1, format);
        TestImage image(before), expected(before);
        for (int i = 0; i < width * height; ++i) {
          // One side of a quarter turn is one run of pixels; the other goes down its columns, from the last to the
          // first. 180 is a vertical flip.
          const int column_wise = i % height * width + width - 1 - i / height;
          const int flipped = (height - 1 - i / width) * width + i % width;
          const int from = degrees == 270 ? column_wise : degrees == 180 ? flipped : i;
          const int to = degrees == 90 ? column_wise : i;
          for (int c = 0; c < image.Channels(0); ++c) expected.At(0, 0, to, c) = before.At(0, 0, from, c);
        }
        RotateImage(image, format, degrees);
        EXPECT_EQ(image.pixels, expected.pixels) << format << ", " << width << "x" << height << " by " << degrees;
      }
    }
  }
}

}  // namespace
}  // namespace pexo::test
