// Edges and calm on scenes whose true matte is known.
#include <gtest/gtest.h>

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
  const struct {
    Range range;
    Yuv contrast;
  } cases[] = {{Range::kFull, {40, 0, 0}},
               {Range::kLimited, {40, 0, 0}},
               {Range::kFull, {0, 40, 0}},
               {Range::kLimited, {0, 0, 40}}};
  for (const auto& each : cases) {
    const Yuv& contrast = each.contrast;
    const TestFrame frame(kWidth, kHeight, Layout::kI420, 0, each.range);
    frame.Paint([&](int x, int y) {
      const double q = static_cast<double>(truth.At(x, y));
      return Yuv{100 + q * contrast.y, 110 + q * contrast.u, 130 + q * contrast.v};
    });
    AddNoise(frame, 3, 1);
    for (const Edges edges : {Edges::kModel, Edges::kPicture}) {
      Composer composer(edges, 0, 0);
      composer.Compose(frame.input(), Segmented(frame, coarse), Copy(frame).view());
      const double error = ErrorAtContour(composer.mask(), truth, 640, 360, 100, 130);
      EXPECT_LE(error, edges == Edges::kPicture ? 6 : 255) << contrast.y << " " << contrast.u << " " << contrast.v;
    }
  }
}

}  // namespace
}  // namespace pexo::test
