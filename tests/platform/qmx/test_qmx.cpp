// The host's image library: what it refuses, and its conversions and scalers against plain forms.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <tuple>
#include <utility>

#include "tests/support/frames.h"

namespace pexo::test {
namespace {

// A frame that is its own record.
struct TestImage : private Frame, QmxImage {
  TestImage(int32_t columns, int32_t rows, int32_t code, int32_t padding = 0)
      : Frame(columns, rows, code, padding), QmxImage(image()), bytes(pixels()) {}
  TestImage& Fill(uint8_t value) {
    std::fill(bytes.begin(), bytes.end(), value);
    return *this;
  }
  TestImage& Randomise(uint32_t seed = 1) {
    std::mt19937 random(seed);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    return *this;
  }
  std::vector<uint8_t>& bytes;
};

int PlaneCount(const QmxImage& image) {
  return image.format == QMX_FORMAT_NV12 || image.format == QMX_FORMAT_NV21 ? 2 : 1;
}

int Channels(const QmxImage& image, int plane) {
  return plane == 1 ? 2 : image.format == QMX_FORMAT_BGR888 || image.format == QMX_FORMAT_RGB888 ? 3 : 1;
}

uint8_t& At(const QmxImage& image, int plane, int row, int column, int channel = 0) {
  return image.plane[plane][row * image.stride[plane] + column * Channels(image, plane) + channel];
}

// Calls function(row, column, channel) for every sample of a plane.
template <typename Function>
void ForEachSample(const QmxImage& image, int plane, Function function) {
  for (int row = 0; row < image.height >> plane; ++row) {
    for (int column = 0; column < image.width >> plane; ++column) {
      for (int channel = 0; channel < Channels(image, plane); ++channel) function(row, column, channel);
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
    EXPECT_EQ(image.plane[1], PlaneCount(image) == 2 ? image.plane[0] + width * height : nullptr);
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
  const std::pair<const char*, void (*)(QmxImage&)> faults[] = {
      {"no plane 0", [](QmxImage& i) { i.plane[0] = nullptr; }},
      {"no last plane", [](QmxImage& i) { i.plane[PlaneCount(i) - 1] = nullptr; }},
      {"width 0", [](QmxImage& i) { i.width = 0; }},
      {"height negative", [](QmxImage& i) { i.height = INT_MIN; }},
      {"short last stride", [](QmxImage& i) { i.stride[PlaneCount(i) - 1] -= 1; }},
      {"stride beyond reach", [](QmxImage& i) { i.stride[0] = INT_MAX; }},
      {"unknown format", [](QmxImage& i) { i.format = 3; }},
      {"other format", [](QmxImage& i) { i.format = i.format == QMX_FORMAT_NV21 ? QMX_FORMAT_NV12 : QMX_FORMAT_NV21; }},
      {"too wide", [](QmxImage& i) { i.width = i.stride[0] = i.stride[1] = 98304; }},
  };
  for (const auto& [name, from, to, run] : kOperations) {
    TestImage source(8, 6, from), destination(8, 6, to), narrower(6, 6, to);
    const std::vector<uint8_t> before = destination.Randomise().bytes;
    for (const auto& [fault, spoil] : faults) {
      QmxImage bad_source = source, bad_destination = destination;
      spoil(bad_source);
      spoil(bad_destination);
      EXPECT_NE(run(&bad_source, &destination), 0) << name << ", source: " << fault;
      EXPECT_NE(run(&source, &bad_destination), 0) << name << ", destination: " << fault;
    }
    EXPECT_NE(run(nullptr, &destination), 0) << name;
    EXPECT_NE(run(&source, nullptr), 0) << name;
    EXPECT_EQ(run(&source, &narrower) == 0, from == to) << name << ", other size";
    for (const int32_t interpolation : {-1, 4}) EXPECT_NE(qmxResize(&destination, &narrower, interpolation), 0);
    EXPECT_EQ(destination.bytes, before) << name;
    EXPECT_EQ(run(&source, &destination), 0) << name;
  }
}

// ITU-T T.871 (JFIF), section 7. A block's chroma serves its four pixels, and is that of their mean.
TEST(Qmx, ColoursMatchTheFormula) {
  for (const auto& [name, format, nv21, back] : kOperations) {
    if (nv21 != QMX_FORMAT_NV21 || format == nv21) continue;
    for (const auto& [width, height] : {std::pair(2, 2), {6, 4}, {14, 2}, {34, 8}, {66, 10}, {130, 4}}) {
      TestImage frame(width, height, nv21, 5), colour(width, height, format, 7);
      const int red = format == QMX_FORMAT_RGB888 ? 0 : 2, blue = 2 - red;
      frame.Randomise();
      ASSERT_EQ((red == 0 ? qmxColorNV21toRGB888u8 : qmxColorNV21toBGR888u8)(&frame, &colour), 0);
      ForEachSample(colour, 0, [&](int row, int column, int channel) {
        const int v = At(frame, 1, row / 2, column / 2, 0) - 128, u = At(frame, 1, row / 2, column / 2, 1) - 128;
        const double shift = channel == red ? 1.402 * v : channel == blue ? 1.772 * u : -0.344136 * u - 0.714136 * v;
        const double want = std::clamp(At(frame, 0, row, column) + shift, 0.0, 255.0);
        ASSERT_NEAR(At(colour, 0, row, column, channel), want, 1.5) << name;
      });
      ASSERT_EQ(back(&colour.Randomise(3), &frame), 0);
      for (const int plane : {0, 1}) {
        ForEachSample(frame, plane, [&](int row, int column, int channel) {
          double mean[3] = {};  // of the pixels that the sample stands for
          for (int i = 0; i < (plane == 0 ? 3 : 12); ++i) {
            mean[i % 3] +=
                At(colour, 0, (row << plane) + i / 6, (column << plane) + i / 3 % 2, i % 3) * (plane == 0 ? 1 : 0.25);
          }
          const double r = mean[red], g = mean[1], b = mean[blue];
          const double want = plane == 0     ? 0.299 * r + 0.587 * g + 0.114 * b
                              : channel == 0 ? 128 + 0.5 * r - 0.418688 * g - 0.081312 * b
                                             : 128 - 0.168736 * r - 0.331264 * g + 0.5 * b;
          ASSERT_NEAR(At(frame, plane, row, column, channel), want, 1.5) << name;
        });
      }
    }
  }
}

// Neither strides nor what lies between the rows matter or change, and equal sizes copy.
TEST(Qmx, ResizeTreatsEveryChannelAsAGreyPicture) {
  const std::pair<int, int> sizes[] = {{2, 2}, {4, 2}, {2, 16}, {16, 16}, {30, 22}, {64, 32}, {128, 6}};
  for (int i = 0; i < 5 * 7 * 7 * 4; ++i) {
    const int32_t interpolation = i % 4;
    const auto& from = sizes[i / 4 % 7];
    const auto& to = sizes[i / 28 % 7];
    const int32_t format =
        std::array{QMX_FORMAT_BGR888, QMX_FORMAT_RGB888, QMX_FORMAT_GRAY8, QMX_FORMAT_NV12, QMX_FORMAT_NV21}[i / 196];
    SCOPED_TRACE(testing::Message() << from.first << "x" << from.second << " to " << to.first << "x" << to.second
                                    << ", format " << format << ", interpolation " << interpolation);
    TestImage source(from.first, from.second, format, 3), destination(to.first, to.second, format, 7);
    source.Randomise();
    destination.Fill(0xA5);
    ASSERT_EQ(qmxResize(&source, &destination, interpolation), 0);
    for (int plane = 0; plane < PlaneCount(source); ++plane) {
      for (int channel = 0; channel < Channels(source, plane); ++channel) {
        TestImage grey(from.first >> plane, from.second >> plane, QMX_FORMAT_GRAY8);
        TestImage scaled(to.first >> plane, to.second >> plane, QMX_FORMAT_GRAY8);
        ForEachSample(grey, 0, [&](int y, int x, int) { At(grey, 0, y, x) = At(source, plane, y, x, channel); });
        ASSERT_EQ(qmxResize(&grey, &scaled, interpolation), 0);
        EXPECT_TRUE(from != to || scaled.bytes == grey.bytes);
        ForEachSample(scaled, 0, [&](int y, int x, int) {
          ASSERT_EQ(std::exchange(At(destination, plane, y, x, channel), uint8_t{0xA5}), At(scaled, 0, y, x));
        });
      }
    }
    ASSERT_EQ(destination.bytes, TestImage(to.first, to.second, format, 7).Fill(0xA5).bytes)
        << "nothing else is written";
  }
}

// A pixel is the mean of what it covers with boxes, of what is around its centre with the others; constants stay.
TEST(Qmx, ResizeMatchesThePlainForms) {
  constexpr int32_t kBilinear = QMX_INTERPOLATION_BILINEAR, kBox = QMX_INTERPOLATION_BOX;
  const std::tuple<int32_t, int, int, int, int, double> cases[] = {
      {kBilinear, 640, 480, 256, 256, 4}, {kBilinear, 1280, 720, 256, 144, 4}, {kBilinear, 68, 36, 34, 18, 0.51},
      {kBox, 68, 36, 34, 18, 0.51},       {kBox, 130, 50, 26, 10, 1.01},       {kBox, 1000, 2000, 2, 1, 0.51},
      {kBox, 1800, 90, 3, 2, 0.51}};
  for (const auto& [interpolation, from_width, from_height, width, height, tolerance] : cases) {
    SCOPED_TRACE(testing::Message() << from_width << "x" << from_height << ", interpolation " << interpolation);
    TestImage source(from_width, from_height, QMX_FORMAT_GRAY8), scaled(width, height, QMX_FORMAT_GRAY8);
    const auto weight = [box = interpolation == kBox](int at, int from, int place, int to) {
      const double distance = std::abs((place + 0.5) * from / to - 0.5 - at);
      return box ? (2 * distance < from / to) * to / static_cast<double>(from) : std::max(1 - distance, 0.0);
    };
    ASSERT_EQ(qmxResize(&source.Randomise(), &scaled, interpolation), 0);
    ForEachSample(scaled, 0, [&, w = from_width, h = from_height](int y, int x, int) {
      double want = 0;
      for (int row = y * h / height; row <= std::min((y + 1) * h / height, h - 1); ++row) {
        for (int column = x * w / width; column <= std::min((x + 1) * w / width, w - 1); ++column) {
          want += At(source, 0, row, column) * weight(row, h, y, height) * weight(column, w, x, width);
        }
      }
      ASSERT_NEAR(At(scaled, 0, y, x), want, tolerance);
    });
    ASSERT_EQ(qmxResize(&source.Fill(200), &scaled, interpolation), 0);
    for (const uint8_t pixel : scaled.bytes) ASSERT_NEAR(pixel, 200, interpolation == kBox);
  }
}

}  // namespace
}  // namespace pexo::test
