#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "tests/platform/qmx/guarded_image.h"

namespace pexo::test {
namespace {

using ColorOperation = int32_t (*)(const QmxImage*, QmxImage*);

int Level(double value) {
  return static_cast<int>(std::lround(std::clamp(value, 0.0, 255.0)));
}

// ITU-T T.871 (JFIF), section 7.
struct Rgb {
  int r, g, b;
};
Rgb ToRgb(int y, int u, int v) {
  return {Level(y + 1.402 * (v - 128)), Level(y - 0.344136 * (u - 128) - 0.714136 * (v - 128)),
          Level(y + 1.772 * (u - 128))};
}
struct Yuv {
  int y, u, v;
};
Yuv ToYuv(double r, double g, double b) {
  return {Level(0.299 * r + 0.587 * g + 0.114 * b), Level(128 - 0.168736 * r - 0.331264 * g + 0.5 * b),
          Level(128 + 0.5 * r - 0.418688 * g - 0.081312 * b)};
}

// Byte offsets of red and blue in a pixel.
struct Order {
  int32_t format;
  int red, blue;
  ColorOperation from_nv21, to_nv21;
};
const Order kOrders[] = {{QMX_FORMAT_RGB888, 0, 2, qmxColorNV21toRGB888u8, qmxColorRGB888toNV21u8},
                         {QMX_FORMAT_BGR888, 2, 0, qmxColorNV21toBGR888u8, qmxColorBGR888toNV21u8}};

constexpr int kSizes[][2] = {{2, 2}, {6, 4}, {14, 2}, {16, 6}, {34, 8}, {66, 10}, {130, 4}};

TEST(QmxColor, FromNv21MatchesTheFormulaEverywhere) {
  for (const Order& order : kOrders) {
    for (const auto& [width, height] : kSizes) {
      for (int padding : {0, 5}) {
        GuardedImage source(width, height, QMX_FORMAT_NV21, padding);
        GuardedImage destination(width, height, order.format, padding);
        source.FillRandom(static_cast<uint32_t>(width * 100 + padding));
        ASSERT_EQ(order.from_nv21(source.get(), destination.get()), 0);
        int worst = 0;
        for (int row = 0; row < height; ++row) {
          for (int column = 0; column < width; ++column) {
            const int v = source.at(1, row / 2, column / 2 * 2);
            const int u = source.at(1, row / 2, column / 2 * 2 + 1);
            const Rgb want = ToRgb(source.at(0, row, column), u, v);
            worst = std::max({worst, std::abs(destination.at(0, row, 3 * column + order.red) - want.r),
                              std::abs(destination.at(0, row, 3 * column + 1) - want.g),
                              std::abs(destination.at(0, row, 3 * column + order.blue) - want.b)});
          }
        }
        EXPECT_LE(worst, 1) << "format " << order.format << ", " << width << "x" << height << " padding " << padding;
        EXPECT_TRUE(destination.GuardsIntact());
      }
    }
  }
}

TEST(QmxColor, ToNv21MatchesTheFormulaEverywhere) {
  for (const Order& order : kOrders) {
    for (const auto& [width, height] : kSizes) {
      for (int padding : {0, 5}) {
        GuardedImage source(width, height, order.format, padding);
        GuardedImage destination(width, height, QMX_FORMAT_NV21, padding);
        source.FillRandom(static_cast<uint32_t>(width * 100 + padding));
        ASSERT_EQ(order.to_nv21(source.get(), destination.get()), 0);
        const auto channel = [&](int row, int column, int byte) -> int { return source.at(0, row, 3 * column + byte); };
        int worst_luma = 0;
        int worst_chroma = 0;
        for (int row = 0; row < height; ++row) {
          for (int column = 0; column < width; ++column) {
            const Yuv want =
                ToYuv(channel(row, column, order.red), channel(row, column, 1), channel(row, column, order.blue));
            worst_luma = std::max(worst_luma, std::abs(destination.at(0, row, column) - want.y));
          }
        }
        for (int row = 0; row < height; row += 2) {
          for (int column = 0; column < width; column += 2) {
            const auto mean = [&](int byte) {
              return (channel(row, column, byte) + channel(row, column + 1, byte) + channel(row + 1, column, byte) +
                      channel(row + 1, column + 1, byte)) /
                     4.0;
            };
            const Yuv want = ToYuv(mean(order.red), mean(1), mean(order.blue));
            worst_chroma = std::max({worst_chroma, std::abs(destination.at(1, row / 2, column) - want.v),
                                     std::abs(destination.at(1, row / 2, column + 1) - want.u)});
          }
        }
        EXPECT_LE(worst_luma, 1) << "format " << order.format << ", " << width << "x" << height;
        EXPECT_LE(worst_chroma, 1) << "format " << order.format << ", " << width << "x" << height;
        EXPECT_TRUE(destination.GuardsIntact());
      }
    }
  }
}

TEST(QmxColor, GreyStaysGreyOverTheWholeRange) {
  for (const Order& order : kOrders) {
    GuardedImage frame(512, 2, QMX_FORMAT_NV21);
    GuardedImage colour(512, 2, order.format);
    frame.Fill(128);
    for (int column = 0; column < 512; ++column) frame.at(0, 0, column) = static_cast<uint8_t>(column / 2);
    ASSERT_EQ(order.from_nv21(frame.get(), colour.get()), 0);
    for (int column = 0; column < 512; ++column) {
      for (int byte = 0; byte < 3; ++byte) EXPECT_EQ(colour.at(0, 0, 3 * column + byte), column / 2);
    }
    GuardedImage back(512, 2, QMX_FORMAT_NV21);
    ASSERT_EQ(order.to_nv21(colour.get(), back.get()), 0);
    EXPECT_EQ(back.Pixels(), frame.Pixels());
  }
}

}  // namespace
}  // namespace pexo::test
