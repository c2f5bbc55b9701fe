// Images and the primitives that move their pixels, on values worked out by hand.
#include "network/image.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/qmx_calls.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

using Bytes = std::vector<uint8_t>;
using Calls = std::vector<std::string>;

TEST(Image, AllocImageLaysOutEveryFormat) {
  const struct {
    int32_t format, stride0, stride1;
    size_t bytes;
  } cases[] = {{1, 18, 0, 72}, {2, 18, 0, 72}, {9, 6, 0, 24}, {17, 6, 6, 36},
               {18, 6, 6, 36}, {7, 0, 0, 0},   {0, 0, 0, 0}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.format);
    Image image;
    AllocImage(image, 2, 2, kFormatGray8);  // what it held before is let go
    AllocImage(image, 6, 4, each.format);
    EXPECT_EQ(std::vector({image.format, image.width, image.height, image.stride[0], image.stride[1]}),
              std::vector({each.format, 6, 4, each.stride0, each.stride1}));
    EXPECT_EQ(image.plane[0] != nullptr, each.bytes > 0);
    EXPECT_EQ(image.plane[1], each.stride1 > 0 ? image.plane[0] + 24 : nullptr);
    EXPECT_EQ(image.interpolation, 2u);
    if (each.bytes > 0) {
      EXPECT_EQ(Bytes(image.plane[0], image.plane[0] + each.bytes), Bytes(each.bytes));
    }
  }
}

TEST(Image, OwnsItsPixelsOnceAndBorrowsWithoutOwning) {
  Image first;
  AllocImage(first, 4, 2, kFormatGray8);
  uint8_t* const pixels = first.plane[0];
  Image second(std::move(first));
  EXPECT_FALSE(first.owns_data);
  first = std::move(second);
  EXPECT_TRUE(first.owns_data);
  EXPECT_EQ(first.plane[0], pixels);
  const Image borrowed = Image::Borrow(first);  // freed twice if this one owned them too
  EXPECT_FALSE(borrowed.owns_data);
  EXPECT_EQ(borrowed.plane[0], pixels);
}

// What ConvertImage does for every pair of formats, with equal and with different sizes.
TEST(Image, ConvertImageDecidesByFormatsThenBySizes) {
  const std::pair<std::pair<int32_t, int32_t>, std::string> conversions[] = {{{18, 2}, "qmxColorNV21toRGB888u8"},
                                                                             {{18, 1}, "qmxColorNV21toBGR888u8"},
                                                                             {{2, 18}, "qmxColorRGB888toNV21u8"},
                                                                             {{1, 18}, "qmxColorBGR888toNV21u8"},
                                                                             {{2, 1}, "swap"},
                                                                             {{1, 2}, "swap"},
                                                                             {{1, 7}, "qmxResize"},
                                                                             {{7, 1}, "qmxResize"}};
  for (const int32_t from : {1, 2, 7, 9, 17, 18, 5}) {
    for (const int32_t to : {1, 2, 7, 9, 17, 18, 5}) {
      for (const int32_t width : {4, 8}) {  // of the source; 4 is the destination's
        SCOPED_TRACE(testing::Message() << from << " to " << to << ", width " << width);
        const auto* found = std::find_if(std::begin(conversions), std::end(conversions),
                                         [&](const auto& each) { return each.first == std::pair(from, to); });
        std::string action = found != std::end(conversions) ? found->second : from == to ? "same" : "nothing";
        if (action == "same") action = width != 4 ? "qmxResize" : from == 7 || from == 5 ? "nothing" : "copy";

        TestImage source(width, 2, from);
        source.Randomise();
        TestImage pixels(4, 2, to);
        pixels.Fill(99);
        Image destination = Image::Borrow(pixels);
        destination.interpolation = 3;
        TakeQmxCalls();
        ConvertImage(destination, source);

        const Calls calls = TakeQmxCalls();
        const std::string size = std::to_string(width) + "x2";
        if (action == "qmxResize") {
          EXPECT_EQ(calls, Calls{"qmxResize " + size + " 4x2 3"});
        } else if (action.rfind("qmxColor", 0) == 0) {
          EXPECT_EQ(calls, Calls{action + " " + size});
        } else {
          EXPECT_EQ(calls, Calls{});
        }
        if (action == "nothing") {
          EXPECT_EQ(pixels.bytes, Bytes(pixels.bytes.size(), 99));
        } else if (action == "copy") {
          EXPECT_EQ(pixels.bytes, source.bytes);
        }
      }
    }
  }
}

TEST(Image, ConvertImageResizesIntoPlainDescriptorsWithInterpolation2) {
  TestImage source(8, 4, 9), destination(4, 2, 9);
  ConvertImage(destination, source);
  EXPECT_EQ(TakeQmxCalls(), Calls{"qmxResize 8x4 4x2 2"});
}

TEST(Image, SwapsRedAndBlueThroughBothStrides) {
  TestImage source(2, 2, 2, 1), destination(2, 2, 1, 3);
  source.bytes = {1, 2, 3, 4, 5, 6, 77, 7, 8, 9, 10, 11, 12, 77};
  source.plane[0] = source.bytes.data();
  destination.Fill(99);
  ConvertImage(destination, source);
  EXPECT_EQ(destination.bytes, (Bytes{3, 2, 1, 6, 5, 4, 99, 99, 99, 9, 8, 7, 12, 11, 10, 99, 99, 99}));
}

TEST(Image, CopiesWholeRowsOfTheDestinationsStride) {
  for (const int32_t format : {9, 1, 18}) {
    TestImage source(4, 4, format, 2), destination(4, 4, format, 2);
    source.Randomise();
    ConvertImage(destination, source);
    EXPECT_EQ(destination.bytes, source.bytes);  // the padding too
  }
  TestImage source(6, 2, 9), missing(6, 2, 9);
  missing.plane[0] = nullptr;
  ConvertImage(missing, source);  // neither of them crashes
  ConvertImage(source, missing);
}

TEST(Image, RotateQuarterPacksAsDocumented) {
  const Bytes square{1, 2, 3, 4}, wide{1, 2, 3, 4, 5, 6};
  const struct {
    int32_t width, height, degrees;
    Bytes before, after;
  } cases[] = {
      {2, 2, 90, square, {3, 1, 4, 2}},      {2, 2, -90, square, {2, 4, 1, 3}},
      {3, 2, 90, wide, {5, 3, 1, 6, 4, 2}},  {3, 2, -90, wide, {3, 6, 2, 5, 1, 4}},
      {2, 3, 90, wide, {4, 1, 5, 2, 6, 3}},  {2, 3, -90, wide, {2, 4, 6, 1, 3, 5}},
      {2, 2, 180, square, {99, 99, 99, 99}}, {2, 2, 270, square, {99, 99, 99, 99}},
      {2, 2, 0, square, {99, 99, 99, 99}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << each.width << "x" << each.height << " by " << each.degrees);
    TestImage destination(each.width, each.height, 9);
    RotateQuarter(destination.Fill(99), TestImage(each.width, each.height, 9, each.before), each.degrees);
    EXPECT_EQ(destination.bytes, each.after);
    for (const int32_t format : {1, 2}) {  // the same with three bytes a pixel
      TestImage colour(each.width, each.height, format), turned(each.width, each.height, format);
      for (size_t i = 0; i < colour.bytes.size(); ++i) {
        colour.bytes[i] = static_cast<uint8_t>(10 * each.before[i / 3] + i % 3);
      }
      RotateQuarter(turned.Fill(99), colour, each.degrees);
      for (size_t i = 0; i < turned.bytes.size(); ++i) {
        EXPECT_EQ(turned.bytes[i], each.after[i / 3] == 99 ? 99 : 10 * each.after[i / 3] + i % 3);
      }
    }
  }
}

TEST(Image, RotateQuarterHasOneStrideOnEachWay) {
  // +90 reads the source as one run, -90 writes the destination as one.
  TestImage padded(2, 2, 9, 1), tight(2, 2, 9, {1, 2, 3, 4});
  RotateQuarter(padded.Fill(99), tight, 90);
  EXPECT_EQ(padded.bytes, (Bytes{3, 1, 99, 4, 2, 99}));
  RotateQuarter(tight, padded, -90);
  EXPECT_EQ(tight.bytes, (Bytes{1, 2, 3, 4}));
  RotateQuarter(tight, padded, 90);
  EXPECT_EQ(tight.bytes, (Bytes{99, 3, 4, 1}));
  RotateQuarter(padded.Fill(99), tight, -90);
  EXPECT_EQ(padded.bytes, (Bytes{3, 1, 99, 4, 99, 99}));
}

TEST(Image, RotateImageTurnsInPlace) {
  const struct {
    int32_t degrees;
    Bytes turned;
  } cases[] = {{0, {1, 2, 3, 4}},   {90, {3, 1, 4, 2}},  {180, {3, 4, 1, 2}},  // 180 is a vertical flip
               {270, {2, 4, 1, 3}}, {45, {1, 2, 3, 4}},  {-90, {1, 2, 3, 4}},
               {360, {1, 2, 3, 4}}, {450, {1, 2, 3, 4}}, {-270, {1, 2, 3, 4}}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.degrees);
    TestImage grey(2, 2, 9, {1, 2, 3, 4}), colour(2, 2, 2, {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4});
    RotateImage(grey, 9, each.degrees);
    RotateImage(colour, 2, each.degrees);
    EXPECT_EQ(grey.bytes, each.turned);
    for (size_t i = 0; i < 12; ++i) EXPECT_EQ(colour.bytes[i], each.turned[i / 3]);
  }
  TestImage wide(3, 2, 9, {1, 2, 3, 4, 5, 6});
  RotateImage(wide, 9, 90);
  EXPECT_EQ(wide.bytes, (Bytes{5, 3, 1, 6, 4, 2}));
  EXPECT_EQ(wide.width, 3);
}

TEST(Image, DoubleAndShiftKeepsTheLastRowAndColumn) {
  TestImage plane(3, 2, 9), doubled(6, 4, 9);
  plane.Randomise();
  qmxResize(&plane, &doubled, 2);
  const Image shifted = DoubleAndShift(plane);
  ASSERT_EQ(shifted.stride[0], 6);
  for (size_t y = 0; y < 4; ++y) {
    for (size_t x = 0; x < 6; ++x) {
      const bool kept = y == 3 || x == 5;
      EXPECT_EQ(shifted.plane[0][6 * y + x], doubled.bytes[kept ? 6 * y + x : 6 * (y + 1) + x + 1]) << x << "," << y;
    }
  }
}

}  // namespace
}  // namespace pexo
