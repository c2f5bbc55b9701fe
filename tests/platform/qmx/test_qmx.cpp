// SPDX-License-Identifier: Apache-2.0
// The host's image library: what it refuses, and its conversions and scalers against plain forms.
#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <climits>
#include <cmath>
#include <span>
#include <tuple>
#include <utility>

#include "tests/support/failing_heap.h"
#include "tests/support/test_image.h"

// Sanitizers bring a heap of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" void* __libc_malloc(size_t size);
extern "C" void* malloc(size_t size) {
  return pexo::test::AllocationFails() ? nullptr : __libc_malloc(size);
}
#endif

namespace pexo::test {
namespace {

// The status of a call, which asks for no memory.
int32_t WithoutHeap(const auto& call) {
  int32_t status = 0;
  EXPECT_FALSE(Strikes(0, [&] { status = call(); }));
  return status;
}

// Calls function(row, column, channel) for every sample of a plane.
template <typename Function>
void ForEachSample(const TestImage& image, int plane, Function function) {
  for (int row = 0; row < image.height >> plane; ++row) {
    for (int column = 0; column < image.width >> plane; ++column) {
      for (int channel = 0; channel < image.Channels(plane); ++channel) function(row, column, channel);
    }
  }
}

TEST(Qmx, ImagesArePackedTightlyOrNotMade) {
  // The bytes of a row, and all: 0 for what cannot exist.
  const std::tuple<int32_t, int32_t, int32_t, int32_t, int32_t> cases[] = {
      {3, 2, QMX_FORMAT_RGB888, 9, 18},      {1920, 1080, QMX_FORMAT_NV21, 1920, 3110400},
      {0, 4, QMX_FORMAT_GRAY8, 0, 0},        {4, INT_MIN, QMX_FORMAT_RGB888, 0, 0},
      {3, 4, QMX_FORMAT_NV21, 0, 0},         {4, 4, 7, 0, 0},
      {40000, 40000, QMX_FORMAT_NV21, 0, 0},
  };
  for (const auto& [width, height, format, row_bytes, bytes] : cases) {
    SCOPED_TRACE(testing::Message() << width << "x" << height << " format " << format);
    QmxImage image = qmxImageCreate(width, height, format);
    ASSERT_EQ(image.plane[0] != nullptr, bytes > 0);
    EXPECT_EQ(image.stride[0], row_bytes);
    EXPECT_EQ(image.plane[1], image.format == QMX_FORMAT_NV21 ? image.plane[0] + width * height : nullptr);
    std::fill_n(image.plane[0], bytes, uint8_t{1});  // the address sanitizer knows the end
    EXPECT_EQ(qmxImageFree(&image), 0);
    EXPECT_EQ(qmxImageFree(&image), 0) << "freeing again is harmless";
  }
}

// Every operation, with the formats it takes.
const std::tuple<const char*, int32_t, int32_t, int32_t (*)(const QmxImage*, QmxImage*)> kOperations[] = {
    {"resize grey", QMX_FORMAT_GRAY8, QMX_FORMAT_GRAY8, [](auto* from, auto* to) { return qmxResize(from, to, 2); }},
    {"resize nv21", QMX_FORMAT_NV21, QMX_FORMAT_NV21, [](auto* from, auto* to) { return qmxResize(from, to, 2); }},
    {"nv21 to rgb", QMX_FORMAT_NV21, QMX_FORMAT_RGB888, qmxColorNV21toRGB888u8},
    {"nv21 to bgr", QMX_FORMAT_NV21, QMX_FORMAT_BGR888, qmxColorNV21toBGR888u8},
    {"rgb to nv21", QMX_FORMAT_RGB888, QMX_FORMAT_NV21, qmxColorRGB888toNV21u8},
    {"bgr to nv21", QMX_FORMAT_BGR888, QMX_FORMAT_NV21, qmxColorBGR888toNV21u8},
};

TEST(Qmx, BadArgumentsAreRefusedAndTheDestinationLeft) {
  const std::pair<const char*, void (*)(TestImage&)> faults[] = {
      {"no plane 0", [](auto& i) { i.plane[0] = nullptr; }},
      {"no last plane", [](auto& i) { i.plane[i.PlaneCount() - 1] = nullptr; }},
      {"width 0", [](auto& i) { i.width = 0; }},
      {"height negative", [](auto& i) { i.height = INT_MIN; }},
      {"short last stride", [](auto& i) { i.stride[i.PlaneCount() - 1] -= 1; }},
      {"stride beyond reach", [](auto& i) { i.stride[0] = INT_MAX; }},
      {"unknown format", [](auto& i) { i.format = 3; }},
      {"other format", [](auto& i) { i.format = i.format == QMX_FORMAT_NV21 ? QMX_FORMAT_NV12 : QMX_FORMAT_NV21; }},
      {"too wide", [](auto& i) { i.width = i.stride[0] = i.stride[1] = 1 << 30, i.height = 1; }},
  };
  for (const auto& [name, from, to, run] : kOperations) {
    TestImage source(8, 6, from), destination = TestImage::Noise(8, 6, 1, to), narrower(6, 6, to);
    const TestImage before(destination);
    for (const auto& [fault, spoil] : faults) {
      TestImage bad_source(source), bad_destination(destination);
      spoil(bad_source);
      spoil(bad_destination);
      EXPECT_NE(run(&bad_source, &destination), 0) << name << ", source: " << fault;
      EXPECT_NE(run(&source, &bad_destination), 0) << name << ", destination: " << fault;
    }
    EXPECT_NE(run(nullptr, &destination), 0) << name;
    EXPECT_NE(run(&source, nullptr), 0) << name;
    EXPECT_EQ(run(&source, &narrower) == 0, from == to) << name << ", other size";
    for (const int32_t interpolation : {-1, 4}) EXPECT_NE(qmxResize(&destination, &narrower, interpolation), 0);
    EXPECT_EQ(destination.pixels, before.pixels) << name;
    EXPECT_EQ(run(&source, &destination), 0) << name;
  }
}

// ITU-T T.871 (JFIF), section 7. A block's chroma serves its four pixels, and is that of their mean.
TEST(Qmx, ColoursMatchTheFormula) {
  for (const auto& [name, format, nv21, back] : kOperations) {
    if (nv21 != QMX_FORMAT_NV21 || format == nv21) continue;
    SCOPED_TRACE(name);
    for (const auto& [width, height] : {std::pair(2, 2), {6, 4}, {14, 2}, {34, 8}, {66, 10}, {130, 4}}) {
      const int32_t padding = width % 3;
      TestImage frame = TestImage::Noise(width, height, 1, nv21, padding), colour(width, height, format, 2 * padding);
      const int red = format == QMX_FORMAT_RGB888 ? 0 : 2, blue = 2 - red;
      const auto there = red == 0 ? qmxColorNV21toRGB888u8 : qmxColorNV21toBGR888u8;
      ASSERT_EQ(WithoutHeap([&] { return there(&frame, &colour); }), 0);
      ForEachSample(colour, 0, [&](int row, int column, int channel) {
        const int v = frame.At(1, row / 2, column / 2, 0) - 128, u = frame.At(1, row / 2, column / 2, 1) - 128;
        const double shift = channel == red ? 1.402 * v : channel == blue ? 1.772 * u : -0.344136 * u - 0.714136 * v;
        const double want = std::clamp(frame.At(0, row, column) + shift, 0.0, 255.0);
        ASSERT_NEAR(colour.At(0, row, column, channel), want, 1.3);
      });
      colour = TestImage::Noise(width, height, 3, format, 2 * padding);
      ASSERT_EQ(WithoutHeap([&, to_nv21 = back] { return to_nv21(&colour, &frame); }), 0);
      for (const int plane : {0, 1}) {
        ForEachSample(frame, plane, [&](int row, int column, int channel) {
          double mean[3] = {};  // of the pixels that the sample stands for
          for (int i = 0; i < (plane == 0 ? 3 : 12); ++i) {
            mean[i % 3] +=
                colour.At(0, (row << plane) + i / 6, (column << plane) + i / 3 % 2, i % 3) * (plane == 0 ? 1 : 0.25);
          }
          const double r = mean[red], g = mean[1], b = mean[blue];
          const double want = plane == 0     ? 0.299 * r + 0.587 * g + 0.114 * b
                              : channel == 0 ? 128 + 0.5 * r - 0.418688 * g - 0.081312 * b
                                             : 128 - 0.168736 * r - 0.331264 * g + 0.5 * b;
          ASSERT_NEAR(frame.At(plane, row, column, channel), want, 0.51);
        });
      }
    }
  }
}

// What of the source's pixel `at`, along one side, is in a destination pixel.
double Weight(int32_t interpolation, int at, int index, int from, int to) {
  if (interpolation == QMX_INTERPOLATION_NEAREST) return at == (2 * index + 1) * from / (2 * to);
  if (interpolation == QMX_INTERPOLATION_BOX) {
    const int covered = std::min((at + 1) * to, (index + 1) * from) - std::max(at * to, index * from);
    return std::max(covered, 0) / (1.0 * from);
  }
  const double place = std::clamp((index + 0.5) * from / to - 0.5, 0.0, from - 1.0);
  return std::max(1 - std::abs(place - at), 0.0);
}

double Exact(const TestImage& source, const TestImage& scaled, int32_t interpolation, int plane, int y, int x,
             int channel) {
  const int width = scaled.width >> plane, columns = source.width >> plane;
  const int height = scaled.height >> plane, rows = source.height >> plane;
  double sum = 0;
  for (int row = std::max(y * rows / height - 1, 0); row < std::min((y + 1) * rows / height + 2, rows); ++row) {
    const double share = Weight(interpolation == 1 ? 0 : interpolation, row, y, rows, height);
    for (int at = std::max(x * columns / width - 1, 0); at < std::min((x + 1) * columns / width + 2, columns); ++at) {
      sum += share * Weight(interpolation, at, x, columns, width) * source.At(plane, row, at, channel);
    }
  }
  return sum;
}

// Every sample is rounded from its exact value, up where that is half way: at once, or, with weights that are not
// halves, from one 0.02 levels off. No processor, stride or lack of memory changes it, and nothing else is touched.
TEST(Qmx, ResizeMatchesThePlainFormsOnEveryProcessor) {
  constexpr int32_t kGray = QMX_FORMAT_GRAY8, kNv21 = QMX_FORMAT_NV21, kRgb = QMX_FORMAT_RGB888;
  const std::tuple<int32_t, int, int, int, int> cases[] = {
      {kGray, 1, 1, 5, 3},       {kGray, 5, 7, 1, 1},       {kGray, 1, 9, 40, 4},       {kGray, 17, 3, 33, 5},
      {kGray, 128, 6, 1920, 31}, {kGray, 480, 9, 1920, 36}, {kGray, 640, 5, 1280, 10},  {kGray, 1920, 36, 480, 9},
      {kGray, 134, 8, 67, 4},    {kGray, 333, 11, 100, 17}, {kGray, 30, 5, 2500, 3},    {kGray, 5000, 3, 2100, 5},
      {kGray, 16, 16, 16, 16},   {kGray, 99999, 1, 900, 2}, {kGray, 60, 2, 99999, 1},   {kGray, 1000, 20, 2, 1},
      {kGray, 31, 128, 6, 1920}, {kGray, 36, 1920, 9, 128}, {kGray, 64, 1080, 36, 257}, {kGray, 1280, 36, 720, 20},
      {kNv21, 2, 2, 6, 4},       {kNv21, 240, 8, 960, 32},  {kNv21, 960, 32, 240, 8},   {kNv21, 640, 8, 320, 4},
      {kNv21, 6, 70000, 4, 256}, {kNv21, 34, 2, 66, 2},     {kNv21, 30, 22, 16, 16},    {kNv21, 3000, 2, 4200, 4},
      {kRgb, 3, 2, 4, 5},        {kRgb, 9, 3, 1500, 4},     {kRgb, 700, 3, 800, 5},     {kRgb, 640, 4, 256, 2},
  };
  for (const auto& [format, from_width, from_height, width, height] : cases) {
    for (int i = 0; i < 8; ++i) {
      const int32_t interpolation = i % 4;
      SCOPED_TRACE(testing::Message() << from_width << "x" << from_height << " to " << width << "x" << height
                                      << ", format " << format << ", interpolation " << interpolation);
      const TestImage source = TestImage::Noise(from_width, from_height, 1, format, i / 4 * 3);
      TestImage blank(width, height, format, i / 4 * 7);
      for (Pixels& bytes : blank.pixels) std::ranges::fill(bytes, uint8_t{0xA5});
      TestImage scaled(blank), first(blank);
      for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        scaled.pixels = blank.pixels;
        ASSERT_EQ(WithoutHeap([&, i] { return qmxResize(&source, &scaled, i % 4); }), 0);
        if (first == blank) first.pixels = scaled.pixels;
        ASSERT_EQ(scaled.pixels, first.pixels) << hwy::TargetName(target);
      }
      hwy::SetSupportedTargetsForTest(0);
      const bool halves = from_width % (2 * width) == 0 && from_height % (2 * height) == 0;
      const double slack = interpolation % 3 == 0 || halves ? 1e-9 : 0.02;
      for (int plane = 0; plane < source.PlaneCount(); ++plane) {
        ForEachSample(scaled, plane, [&](int y, int x, int channel) {
          const double error = std::exchange(scaled.At(plane, y, x, channel), uint8_t{0xA5}) -
                               Exact(source, scaled, interpolation, plane, y, x, channel);
          ASSERT_TRUE(error > -0.5 - slack + 2e-9 && error <= 0.5 + slack) << error << " at " << x << ", " << y;
        });
      }
      ASSERT_EQ(scaled.pixels, blank.pixels) << "nothing else is written";
    }
  }
}

}  // namespace
}  // namespace pexo::test
