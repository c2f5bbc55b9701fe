#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "tests/platform/qmx/guarded_image.h"

namespace pexo::test {
namespace {

constexpr int32_t kFormats[] = {QMX_FORMAT_BGR888, QMX_FORMAT_RGB888, QMX_FORMAT_GRAY8, QMX_FORMAT_NV12,
                                QMX_FORMAT_NV21};
constexpr int32_t kInterpolations[] = {QMX_INTERPOLATION_NEAREST, QMX_INTERPOLATION_LINEAR, QMX_INTERPOLATION_BILINEAR,
                                       QMX_INTERPOLATION_BOX};
// Every pair of these is tried, so with halving, quartering, doubling, one side kept, and extreme ratios.
constexpr int kEvenSizes[][2] = {{2, 2}, {4, 2}, {2, 16}, {8, 8}, {16, 16}, {30, 22}, {64, 32}, {128, 128}, {250, 6}};
constexpr int kOddSizes[][2] = {{1, 1}, {1, 7}, {3, 2}, {5, 5}, {33, 17}, {127, 3}};

struct Case {
  int source_width, source_height, width, height;
  int32_t format, interpolation;
};

std::ostream& operator<<(std::ostream& out, const Case& c) {
  return out << c.source_width << "x" << c.source_height << " to " << c.width << "x" << c.height << ", format "
             << c.format << ", interpolation " << c.interpolation;
}

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  for (int32_t format : kFormats) {
    std::vector<std::pair<int, int>> sizes;
    for (const auto& [width, height] : kEvenSizes) sizes.emplace_back(width, height);
    if (PlaneCount(format) == 1) {
      for (const auto& [width, height] : kOddSizes) sizes.emplace_back(width, height);
    }
    for (const auto& from : sizes) {
      for (const auto& to : sizes) {
        for (int32_t interpolation : kInterpolations) {
          cases.push_back({from.first, from.second, to.first, to.second, format, interpolation});
        }
      }
    }
  }
  return cases;
}

TEST(QmxResize, ReadsAndWritesItsPlanesOnly) {
  for (const Case& c : AllCases()) {
    std::vector<uint8_t> results[2];
    for (uint8_t guard : {uint8_t{0}, uint8_t{255}}) {  // what is read outside the rows would tell
      GuardedImage source(c.source_width, c.source_height, c.format, guard == 0 ? 0 : 3, guard);
      GuardedImage destination(c.width, c.height, c.format, guard == 0 ? 0 : 7, guard);
      source.FillRandom(5);
      const std::vector<uint8_t> before = source.Pixels();
      ASSERT_EQ(qmxResize(source.get(), destination.get(), c.interpolation), 0) << c;
      EXPECT_TRUE(destination.GuardsIntact()) << c;
      EXPECT_EQ(source.Pixels(), before) << c;
      results[guard & 1] = destination.Pixels();
    }
    ASSERT_EQ(results[0], results[1]) << c;
  }
}

TEST(QmxResize, KeepsConstants) {
  for (const Case& c : AllCases()) {
    for (uint8_t value : {uint8_t{0}, uint8_t{1}, uint8_t{128}, uint8_t{255}}) {
      GuardedImage source(c.source_width, c.source_height, c.format);
      GuardedImage destination(c.width, c.height, c.format);
      source.Fill(value);
      ASSERT_EQ(qmxResize(source.get(), destination.get(), c.interpolation), 0) << c;
      const std::vector<uint8_t> pixels = destination.Pixels();
      const auto [low, high] = std::minmax_element(pixels.begin(), pixels.end());
      const int slack =
          c.interpolation == QMX_INTERPOLATION_BOX ? 1 : 0;  // the reciprocal of the box's area rounds down
      ASSERT_GE(*low, value - slack) << c;
      ASSERT_LE(*high, value) << c;
    }
  }
}

TEST(QmxResize, EqualSizesCopy) {
  for (const Case& c : AllCases()) {
    if (c.source_width != c.width || c.source_height != c.height) continue;
    GuardedImage source(c.width, c.height, c.format, 3);
    GuardedImage destination(c.width, c.height, c.format, 9);
    source.FillRandom(11);
    ASSERT_EQ(qmxResize(source.get(), destination.get(), c.interpolation), 0) << c;
    ASSERT_EQ(destination.Pixels(), source.Pixels()) << c;
  }
}

TEST(QmxResize, HalvingIsTheMeanOfFour) {
  for (int32_t format : kFormats) {
    for (int32_t interpolation : {QMX_INTERPOLATION_BILINEAR, QMX_INTERPOLATION_BOX}) {
      GuardedImage source(68, 36, format);
      GuardedImage destination(34, 18, format);
      source.FillRandom(3);
      ASSERT_EQ(qmxResize(source.get(), destination.get(), interpolation), 0);
      for (int plane = 0; plane < PlaneCount(format); ++plane) {
        const int channels = plane == 1 ? 2 : source.row_bytes(0) / 68;
        for (int row = 0; row < destination.rows(plane); ++row) {
          for (int byte = 0; byte < destination.row_bytes(plane); ++byte) {
            const int left = byte / channels * 2 * channels + byte % channels;
            const int right = left + channels;
            const int mean = (source.at(plane, 2 * row, left) + source.at(plane, 2 * row, right) +
                              source.at(plane, 2 * row + 1, left) + source.at(plane, 2 * row + 1, right) + 2) >>
                             2;
            ASSERT_EQ(destination.at(plane, row, byte), mean)
                << "format " << format << " plane " << plane << " row " << row << " byte " << byte;
          }
        }
      }
    }
  }
}

// The field's usual sizes: down with pixel centres aligned, as a plain double-precision form has it.
TEST(QmxResize, BilinearDownMatchesThePlainForm) {
  const int cases[][4] = {{640, 480, 256, 256}, {1280, 720, 256, 144}, {512, 600, 256, 256}, {250, 130, 128, 128}};
  for (const auto& [source_width, source_height, width, height] : cases) {
    GuardedImage source(source_width, source_height, QMX_FORMAT_GRAY8);
    GuardedImage destination(width, height, QMX_FORMAT_GRAY8);
    source.FillRandom(8);
    ASSERT_EQ(qmxResize(source.get(), destination.get(), QMX_INTERPOLATION_BILINEAR), 0);
    double worst = 0;
    for (int row = 0; row < height; ++row) {
      for (int column = 0; column < width; ++column) {
        const double x = (column + 0.5) * source_width / width - 0.5;
        const double y = (row + 0.5) * source_height / height - 0.5;
        const int left = static_cast<int>(x);
        const int top = static_cast<int>(y);
        const double fx = x - left;
        const double fy = y - top;
        const double want = (1 - fy) * ((1 - fx) * source.at(0, top, left) + fx * source.at(0, top, left + 1)) +
                            fy * ((1 - fx) * source.at(0, top + 1, left) + fx * source.at(0, top + 1, left + 1));
        worst = std::max(worst, std::abs(want - destination.at(0, row, column)));
      }
    }
    EXPECT_LE(worst, 4) << source_width << "x" << source_height << " to " << width << "x" << height;
  }
}

TEST(QmxResize, ChannelsAreScaledLikeGreyPlanes) {
  for (int32_t interpolation : kInterpolations) {
    for (const auto& [width, height] : {std::pair{40, 12}, {20, 60}, {66, 30}, {7, 30}}) {
      GuardedImage source(20, 30, QMX_FORMAT_RGB888);
      GuardedImage destination(width, height, QMX_FORMAT_RGB888);
      source.FillRandom(4);
      ASSERT_EQ(qmxResize(source.get(), destination.get(), interpolation), 0);
      for (int channel = 0; channel < 3; ++channel) {
        GuardedImage grey(20, 30, QMX_FORMAT_GRAY8);
        GuardedImage scaled(width, height, QMX_FORMAT_GRAY8);
        for (int row = 0; row < 30; ++row) {
          for (int column = 0; column < 20; ++column) grey.at(0, row, column) = source.at(0, row, 3 * column + channel);
        }
        ASSERT_EQ(qmxResize(grey.get(), scaled.get(), interpolation), 0);
        for (int row = 0; row < height; ++row) {
          for (int column = 0; column < width; ++column) {
            ASSERT_EQ(destination.at(0, row, 3 * column + channel), scaled.at(0, row, column));
          }
        }
      }
    }
  }
}

TEST(QmxResize, BoxIsTheMeanHoweverLargeTheBox) {
  GuardedImage source(1000, 2000, QMX_FORMAT_GRAY8);
  source.FillRandom(6);
  double sum = 0;
  for (uint8_t pixel : source.Pixels()) sum += pixel;
  GuardedImage one(1, 1, QMX_FORMAT_GRAY8);
  ASSERT_EQ(qmxResize(source.get(), one.get(), QMX_INTERPOLATION_BOX), 0);
  EXPECT_NEAR(one.at(0, 0, 0), sum / (1000.0 * 2000.0), 0.51);

  GuardedImage stripes(1800, 90, QMX_FORMAT_GRAY8);
  for (int row = 0; row < 90; ++row) {
    for (int column = 0; column < 1800; ++column)
      stripes.at(0, row, column) = column < 600 ? 10 : column < 1200 ? 90 : 250;
  }
  GuardedImage three(3, 2, QMX_FORMAT_GRAY8);
  ASSERT_EQ(qmxResize(stripes.get(), three.get(), QMX_INTERPOLATION_BOX), 0);
  EXPECT_EQ(three.Pixels(), (std::vector<uint8_t>{10, 90, 250, 10, 90, 250}));
}

}  // namespace
}  // namespace pexo::test
