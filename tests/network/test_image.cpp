// The primitives that move pixels between images, against naive forms of them.
#include "network/image.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/support/frames.h"

namespace {

int resizes = 0;

}  // namespace

// Counts on the way to the image library.
extern "C" [[gnu::visibility("default")]] int32_t qmxResize(const QmxImage* source, QmxImage* destination,
                                                            int32_t interpolation) {
  static const auto next = reinterpret_cast<decltype(&qmxResize)>(dlsym(RTLD_NEXT, "qmxResize"));
  ++resizes;
  return next(source, destination, interpolation);
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
        const Frame source = Frame::Noise(width, 2, 1, from, 3);
        Frame destination = Frame::Noise(4, 2, 2, to, 3), expected(destination);
        const auto colour = colours.find({from, to});
        const bool resized = from == to ? width != 4 : from * to == 7;
        if (colour != colours.end()) {
          colour->second(&source.image(), &expected.image());
        } else if (from * to == 2) {  // red and blue change places, row by row
          for (size_t i = 0; i < 24; ++i) {
            const auto at = [&](const Frame& frame) { return i / 12 * static_cast<size_t>(frame.image().stride[0]); };
            expected.pixels()[at(expected) + i % 12] = source.pixels()[at(source) + i % 12 / 3 * 3 + 2 - i % 3];
          }
        } else if (resized) {
          qmxResize(&source.image(), &expected.image(), 0);
        } else if (from == to && from != 7 && from != 5) {
          expected.pixels() = source.pixels();  // the padding too
        }
        Image borrowed = Image::Borrow(destination.image());
        borrowed.interpolation = 0;
        resizes = 0;
        ConvertImage(borrowed, source.image());
        EXPECT_EQ(resizes, resized ? 1 : 0) << from << " to " << to << ", width " << width;
        EXPECT_EQ(destination.pixels(), expected.pixels()) << from << " to " << to << ", width " << width;
      }
    }
  }
}

TEST(Image, RotateImageTurnsInPlace) {
  for (const int32_t format : {9, 1, 2}) {
    for (const auto& [width, height] : {std::pair{2, 2}, {3, 2}, {4, 7}}) {
      for (const int32_t degrees : {0, 90, 180, 270, 45, -90, 450}) {
        const Frame before = Frame::Noise(width, height, 1, format);
        Frame image(before), expected(before);
        const auto w = static_cast<size_t>(width), h = static_cast<size_t>(height),
                   depth = image.pixels().size() / w / h;
        for (size_t i = 0; i < w * h; ++i) {
          // One side of a quarter turn is one run of pixels; the other goes down its columns, from the last to the
          // first. 180 is a vertical flip.
          const size_t column_wise = i % h * w + w - 1 - i / h, flipped = (h - 1 - i / w) * w + i % w;
          const size_t from = degrees == 270 ? column_wise : degrees == 180 ? flipped : i;
          const size_t to = degrees == 90 ? column_wise : i;
          std::copy_n(before.pixels().begin() + static_cast<ptrdiff_t>(from * depth), depth,
                      expected.pixels().begin() + static_cast<ptrdiff_t>(to * depth));
        }
        RotateImage(image.image(), format, degrees);
        EXPECT_EQ(image.pixels(), expected.pixels()) << format << ", " << width << "x" << height << " by " << degrees;
      }
    }
  }
  Frame square(2, 2, kFormatGray8);
  square.pixels() = {1, 2, 3, 4};
  RotateImage(square.image(), kFormatGray8, 90);
  EXPECT_EQ(square.pixels(), (std::vector<uint8_t>{3, 1, 4, 2}));
}

}  // namespace
}  // namespace pexo::test
