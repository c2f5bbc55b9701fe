// SPDX-License-Identifier: Apache-2.0
// Edges and calm on scenes whose true matte is known.
#include <gtest/gtest.h>

#include <tuple>

#include "tests/compositor/scene.h"

namespace pexo::test {
namespace {

constexpr int kWidth = 1280, kHeight = 720;

// Mean error of the mask in levels, within 20 pixels of an ellipse's contour.
double ErrorAtContour(const Plane<uint8_t>& mask, const Matte& truth, double cx, double cy, double rx, double ry) {
  double sum = 0, count = 0;
  for (int y = 0; y < mask.height(); ++y) {
    for (int x = 0; x < mask.width(); ++x) {
      if (std::abs(EllipseDistance(x, y, cx, cy, rx, ry)) > 20) continue;
      sum += std::abs(mask.Row(y)[x] - 255 * static_cast<double>(truth.At(x, y)));
      ++count;
    }
  }
  return sum / count;
}

TEST(MaskRefiner, FindsTheEdgeByLumaOrByChroma) {
  const Matte truth = Ellipse(kWidth, kHeight, 640, 360, 100, 130);
  const Matte coarse = Gaussian(Ellipse(kWidth, kHeight, 645, 356, 100, 130), 9);
  // The most that the error may be; that of the mask as it comes from the model is 49.
  const std::tuple<Range, Yuv, double> cases[] = {{Range::kFull, {40, 0, 0}, 1.7},
                                                  {Range::kLimited, {40, 0, 0}, 1.7},
                                                  {Range::kFull, {0, 40, 0}, 4.5},
                                                  {Range::kLimited, {0, 0, 40}, 4.5}};
  for (const auto& [range, contrast, most] : cases) {
    const TestFrame frame(kWidth, kHeight, Layout::kI420, 0, range);
    frame.Paint([&, &contrast = contrast](int x, int y) {
      const double q = static_cast<double>(truth.At(x, y));
      return Yuv{100 + q * contrast.y, 110 + q * contrast.u, 130 + q * contrast.v};
    });
    AddNoise(frame, 3, 1);
    Composer composer(Edges::kPicture, 0, 0);
    composer.Compose(frame.input(), Segmented(frame, coarse), Copy(frame).view());
    const double error = ErrorAtContour(composer.mask(), truth, 640, 360, 100, 130);
    EXPECT_LE(error, most) << contrast.y << " " << contrast.u << " " << contrast.v;
  }
}

// How far two masks lie apart, in levels, where the second one may be mirrored.
double MeanDifference(const Plane<uint8_t>& a, const Plane<uint8_t>& b, bool mirror_x, bool mirror_y) {
  double sum = 0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      sum += std::abs(a.Row(y)[x] - b.Row(mirror_y ? kHeight - 1 - y : y)[mirror_x ? kWidth - 1 - x : x]);
    }
  }
  return sum / (kWidth * kHeight);
}

// A mirrored frame has the mirrored mask, and a frame in limited range has that of full range: nothing is off by a part
// of a pixel, and nothing takes levels for something else.
TEST(MaskRefiner, TreatsAllDirectionsAndBothRangesAlike) {
  const Matte truth = Gaussian(Ellipse(kWidth, kHeight, 600, 380, 200, 230), 6);
  const Matte coarse = Gaussian(truth, 9);
  const auto mask_of = [&](bool mirror_x, bool mirror_y, Range range) {
    const auto place = [&](int x, int y) {
      return std::pair(mirror_x ? kWidth - 1 - x : x, mirror_y ? kHeight - 1 - y : y);
    };
    Matte matte = coarse;
    TestFrame frame(kWidth, kHeight, Layout::kI420, 0, range);
    frame.Paint([&](int x, int y) {
      const auto [sx, sy] = place(x, y);
      matte.At(x, y) = coarse.At(sx, sy);
      // Chroma is painted at the upper left pixel of its four, and belongs to all.
      const auto [cx, cy] = std::pair(sx & ~1, sy & ~1);
      const double level = 60 + 40 * std::sin(sx * 0.05) + 20 * static_cast<double>(truth.At(sx, sy));
      const double chroma = 100 + 20 * static_cast<double>(truth.At(cx, cy)) + 20 * std::sin(cy * 0.04);
      if (range == Range::kFull) return Yuv{level, chroma, 128};
      return Yuv{16 + level * 219 / 255, 128 + (chroma - 128) * 224 / 255, 128};
    });
    Composer composer(Edges::kPicture, 0, 0);
    composer.Compose(frame.input(), Segmented(frame, matte), Copy(frame).view());
    return CopyOf(composer.mask());
  };
  const Plane<uint8_t> mask = mask_of(false, false, Range::kFull);
  EXPECT_LE(MeanDifference(mask, mask_of(true, false, Range::kFull), true, false), 0.01);
  EXPECT_LE(MeanDifference(mask, mask_of(false, true, Range::kFull), false, true), 0.01);
  EXPECT_LE(MeanDifference(mask, mask_of(false, false, Range::kLimited), false, false), 0.1);
}

// From a mask of 100 to one of 200, while the whole picture changes by so many levels.
TEST(MaskCalmer, DrawsMasksTogetherWhereThePictureStays) {
  // The last ones: the height of the first frame, and the outcome.
  const std::tuple<Yuv, double, int, int> cases[] = {
      {{0, 0, 0}, 1, 48, 146},  {{0, 0, 0}, 0.5, 48, 173}, {{0, 0, 0}, 0, 48, 200}, {{2, 0, 0}, 1, 48, 172},
      {{0, -2, 0}, 1, 48, 172}, {{0, 0, 2}, 1, 48, 172},   {{9, 0, 0}, 1, 48, 200}, {{0, 0, 0}, 1, 36, 200}};
  for (const auto& [change, calm, height, level] : cases) {
    Composer composer(Edges::kModel, calm, 0);
    composer.backdrop().Set(Grey{});
    for (const int i : {0, 1}) {
      const TestFrame frame(64, i == 0 ? height : 48);
      frame.Paint([&, add = change](int, int) { return Yuv{99 + i * add.y, 99 + i * add.u, 99 + i * add.v}; });
      composer.Compose(frame.input(), Segmented(frame, Matte(64, 36, i == 0 ? 100 / 255.0f : 200 / 255.0f)),
                       frame.view());
    }
    EXPECT_NEAR(composer.mask().Row(24)[32], level, 1);
  }
}

}  // namespace
}  // namespace pexo::test
