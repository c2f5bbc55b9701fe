#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>

#include "tests/platform/qmx/guarded_image.h"

namespace pexo::test {
namespace {

bool IsZero(const QmxImage& image) {
  return image.format == 0 && image.width == 0 && image.height == 0 && image.plane[0] == nullptr &&
         image.plane[1] == nullptr && image.stride[0] == 0 && image.stride[1] == 0;
}

TEST(QmxImageCreate, LaysPlanesOutTightly) {
  const struct {
    int32_t width, height, format, stride0, stride1, bytes;
  } cases[] = {
      {1, 1, QMX_FORMAT_GRAY8, 1, 0, 1},
      {7, 5, QMX_FORMAT_GRAY8, 7, 0, 35},
      {3, 2, QMX_FORMAT_RGB888, 9, 0, 18},
      {5, 1, QMX_FORMAT_BGR888, 15, 0, 15},
      {2, 2, QMX_FORMAT_NV21, 2, 2, 6},
      {6, 4, QMX_FORMAT_NV12, 6, 6, 36},
      {1920, 1080, QMX_FORMAT_NV21, 1920, 1920, 3110400},
  };
  for (const auto& c : cases) {
    QmxImage image = qmxImageCreate(c.width, c.height, c.format);
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " format " << c.format);
    ASSERT_NE(image.plane[0], nullptr);
    EXPECT_EQ(image.format, c.format);
    EXPECT_EQ(image.width, c.width);
    EXPECT_EQ(image.height, c.height);
    EXPECT_EQ(image.stride[0], c.stride0);
    EXPECT_EQ(image.stride[1], c.stride1);
    EXPECT_EQ(image.plane[1], c.stride1 == 0 ? nullptr : image.plane[0] + c.width * c.height);
    std::memset(image.plane[0], 1, static_cast<std::size_t>(c.bytes));  // the address sanitizer knows the end
    EXPECT_EQ(qmxImageFree(&image), 0);
    EXPECT_TRUE(IsZero(image));
    EXPECT_EQ(qmxImageFree(&image), 0) << "freeing again is harmless";
  }
  EXPECT_NE(qmxImageFree(nullptr), 0);
}

TEST(QmxImageCreate, RefusesWhatCannotExist) {
  const int32_t cases[][3] = {
      {0, 4, QMX_FORMAT_GRAY8},
      {4, 0, QMX_FORMAT_GRAY8},
      {-4, 4, QMX_FORMAT_GRAY8},
      {4, INT_MIN, QMX_FORMAT_RGB888},
      {3, 4, QMX_FORMAT_NV21},
      {4, 3, QMX_FORMAT_NV12},
      {4, 4, 0},
      {4, 4, 7},
      {4, 4, -1},
      {INT_MAX, INT_MAX, QMX_FORMAT_GRAY8},
      {46341, 46341, QMX_FORMAT_GRAY8},
      {INT_MAX, 1, QMX_FORMAT_RGB888},
      {65536, 65536, QMX_FORMAT_NV21},
      {40000, 40000, QMX_FORMAT_NV21},
      {INT_MAX - 1, 2, QMX_FORMAT_NV12},
  };
  for (const auto& [width, height, format] : cases) {
    EXPECT_TRUE(IsZero(qmxImageCreate(width, height, format))) << width << "x" << height << " format " << format;
  }
}

// Every operation, as a function of a source and a destination, with the formats it takes.
struct Operation {
  const char* name;
  int32_t source_format;
  int32_t destination_format;
  std::function<int32_t(const QmxImage*, QmxImage*)> run;
};

const Operation kOperations[] = {
    {"resize grey", QMX_FORMAT_GRAY8, QMX_FORMAT_GRAY8, [](auto* s, auto* d) { return qmxResize(s, d, 2); }},
    {"resize rgb", QMX_FORMAT_RGB888, QMX_FORMAT_RGB888, [](auto* s, auto* d) { return qmxResize(s, d, 2); }},
    {"resize nv21", QMX_FORMAT_NV21, QMX_FORMAT_NV21, [](auto* s, auto* d) { return qmxResize(s, d, 2); }},
    {"nv21 to rgb", QMX_FORMAT_NV21, QMX_FORMAT_RGB888, qmxColorNV21toRGB888u8},
    {"nv21 to bgr", QMX_FORMAT_NV21, QMX_FORMAT_BGR888, qmxColorNV21toBGR888u8},
    {"rgb to nv21", QMX_FORMAT_RGB888, QMX_FORMAT_NV21, qmxColorRGB888toNV21u8},
    {"bgr to nv21", QMX_FORMAT_BGR888, QMX_FORMAT_NV21, qmxColorBGR888toNV21u8},
};

TEST(QmxOperations, RefuseBadImagesAndLeaveTheDestination) {
  const struct {
    const char* name;
    std::function<void(QmxImage&)> spoil;
  } faults[] = {
      {"no plane 0", [](QmxImage& i) { i.plane[0] = nullptr; }},
      {"no last plane", [](QmxImage& i) { i.plane[PlaneCount(i.format) - 1] = nullptr; }},
      {"width 0", [](QmxImage& i) { i.width = 0; }},
      {"width negative", [](QmxImage& i) { i.width = -i.width; }},
      {"height 0", [](QmxImage& i) { i.height = 0; }},
      {"height negative", [](QmxImage& i) { i.height = INT_MIN; }},
      {"short stride", [](QmxImage& i) { i.stride[0] -= 1; }},
      {"short last stride", [](QmxImage& i) { i.stride[PlaneCount(i.format) - 1] -= 1; }},
      {"negative stride", [](QmxImage& i) { i.stride[0] = -i.stride[0]; }},
      {"stride beyond reach", [](QmxImage& i) { i.stride[0] = INT_MAX; }},
      {"unknown format", [](QmxImage& i) { i.format = 3; }},
      {"format 7", [](QmxImage& i) { i.format = 7; }},
      {"other format", [](QmxImage& i) { i.format = i.format == QMX_FORMAT_NV21 ? QMX_FORMAT_NV12 : QMX_FORMAT_NV21; }},
  };
  for (const Operation& operation : kOperations) {
    for (const auto& fault : faults) {
      for (bool in_source : {true, false}) {
        SCOPED_TRACE(testing::Message() << operation.name << ", " << fault.name << " in the "
                                        << (in_source ? "source" : "destination"));
        GuardedImage source(8, 6, operation.source_format);
        GuardedImage destination(8, 6, operation.destination_format);
        source.FillRandom(1);
        destination.FillRandom(2);
        const std::vector<uint8_t> before = destination.Pixels();
        QmxImage source_record = *source.get();
        QmxImage destination_record = *destination.get();
        fault.spoil(in_source ? source_record : destination_record);
        EXPECT_NE(operation.run(&source_record, &destination_record), 0);
        EXPECT_EQ(destination.Pixels(), before);
      }
    }
    GuardedImage source(8, 6, operation.source_format);
    GuardedImage destination(8, 6, operation.destination_format);
    EXPECT_NE(operation.run(nullptr, destination.get()), 0) << operation.name;
    EXPECT_NE(operation.run(source.get(), nullptr), 0) << operation.name;
    EXPECT_EQ(operation.run(source.get(), destination.get()), 0) << operation.name;
  }
}

TEST(QmxOperations, RefuseWhatDoesNotFitTogether) {
  for (const Operation& operation : kOperations) {
    if (operation.source_format == operation.destination_format) continue;
    GuardedImage source(8, 6, operation.source_format);
    GuardedImage narrower(6, 6, operation.destination_format);
    GuardedImage lower(8, 4, operation.destination_format);
    EXPECT_NE(operation.run(source.get(), narrower.get()), 0) << operation.name;
    EXPECT_NE(operation.run(source.get(), lower.get()), 0) << operation.name;
  }
  GuardedImage source(8, 6, QMX_FORMAT_GRAY8);
  GuardedImage destination(4, 3, QMX_FORMAT_GRAY8);
  for (int32_t interpolation : {-1, 4, 7, INT_MAX, INT_MIN}) {
    EXPECT_NE(qmxResize(source.get(), destination.get(), interpolation), 0) << interpolation;
  }
  GuardedImage wide(32768, 1, QMX_FORMAT_GRAY8);
  EXPECT_NE(qmxResize(wide.get(), destination.get(), 2), 0);
  EXPECT_NE(qmxResize(destination.get(), wide.get(), 2), 0);
}

}  // namespace
}  // namespace pexo::test
