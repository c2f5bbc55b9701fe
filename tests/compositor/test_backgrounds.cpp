// SPDX-License-Identifier: Apache-2.0
// Backgrounds against what they promise, with masks that are known.
#include <gtest/gtest.h>

#include "tests/compositor/scene.h"

namespace pexo::test {
namespace {

constexpr int kWidth = 1280, kHeight = 720;

TEST(Blur, StripesFadeAndRampsStaySmooth) {
  const Matte nobody(kWidth, kHeight);
  TestFrame frame(kWidth, kHeight);
  frame.Paint([](int x, int) { return Yuv{x / 10 % 2 * 255.0, 128, 128}; });
  const TestFrame stripes = Composed(frame, nobody, Blur{});
  const auto [low, high] = std::minmax_element(&stripes.At(0, 100, 360), &stripes.At(0, kWidth - 100, 360));
  EXPECT_LE(*high - *low, 8);

  frame.Paint([](int x, int y) { return Yuv{x * 255.0 / kWidth, y * 255.0 / kHeight, 255 - x * 255.0 / kWidth}; });
  const TestFrame ramp = Composed(frame, nobody, Blur{});
  int step = 0, off = 0;
  ForEachSample(ramp, [&](int c, int x, int y) {
    const int level = ramp.At(c, x, y), left = ramp.At(c, std::max(x - 1, 0), y),
              above = ramp.At(c, x, std::max(y - 1, 0));
    step = std::max({step, std::abs(level - left), std::abs(level - above)});
    const int scale = c == 0 ? 1 : 2, column = x * scale, row = y * scale;
    const bool is_inside = column > 60 && column < kWidth - 60 && row > 60 && row < kHeight - 60;
    if (is_inside) off = std::max(off, std::abs(level - frame.At(c, x, y)));
  });
  EXPECT_LE(step, 1);
  EXPECT_LE(off, 1);
}

// An edge from black to white becomes the integral of the Gaussian, which rises from 16 to 84 % within two sigma.
TEST(Blur, FollowsItsStrengthAndTheUprightHeight) {
  TestFrame frame(kWidth, kHeight);
  frame.Paint([](int x, int) { return Yuv{x < kWidth / 2 ? 0.0 : 255.0, 128, 128}; });
  for (const auto& [rotation, height] : {std::pair(0, kHeight), {90, kWidth}, {180, kHeight}, {270, kWidth}}) {
    Composer composer(Edges::kModel, 0, rotation);
    for (const double strength : {20, 60}) {
      const TestFrame out = Composed(frame, Matte(kWidth, kHeight), Blur{strength}, std::move(composer));
      const auto edge = std::count_if(&out.At(0, 0, 360), &out.At(0, kWidth - 1, 360),
                                      [](uint8_t level) { return level > 0.1587 * 255 && level < 0.8413 * 255; });
      const double sigma = strength / 1000 * height;
      EXPECT_NEAR(static_cast<double>(edge) / 2, sigma, 0.15 * sigma) << rotation;
    }
  }
}

// What moves to the left comes out as it did, to the left. Rounding alone makes a full-size blur differ by 0.41 levels.
TEST(Blur, DoesNotShimmerInAPan) {
  Matte texture(kWidth + 3, kHeight);
  std::mt19937 random(1);
  for (float& value : texture.values) value = random() % 2 == 0 ? 0 : 255;
  texture = Gaussian(texture, 1);
  const auto blurred = [&texture](int left) {
    const TestFrame frame(kWidth, kHeight);
    frame.Paint([&](int x, int y) {
      return Yuv{127 + 3 * (static_cast<double>(texture.At(x + left, y)) - 127), 128, 128};
    });
    return Composed(frame, Matte(kWidth, kHeight), Blur{});
  };
  const TestFrame first = blurred(0), third = blurred(3);
  double squares = 0;
  for (int y = 100; y < kHeight - 100; ++y) {
    for (int x = 100; x < kWidth - 100; ++x) squares += std::pow(third.At(0, x, y) - first.At(0, x + 3, y), 2);
  }
  EXPECT_LE(std::sqrt(squares / (kWidth - 200) / (kHeight - 200)), 0.45);
}

TEST(Blur, NothingOfThePersonGlowsAround) {
  const Matte truth = Ellipse(kWidth, kHeight, 640, 360, 200, 260);
  TestFrame frame(kWidth, kHeight);
  frame.Paint([&](int x, int y) { return Yuv{255.0 * static_cast<double>(truth.At(x, y)), 128, 128}; });
  for (const auto& [strength, edges] : {std::pair(5, Edges::kModel), std::pair(5, Edges::kPicture),
                                        std::pair(20, Edges::kModel), std::pair(100, Edges::kPicture)}) {
    const TestFrame out = Composed(frame, truth, Blur{static_cast<double>(strength)}, Composer(edges, 0, 0));
    int halo = 0;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        if (EllipseDistance(x, y, 640, 360, 200, 260) > 4) halo = std::max<int>(halo, out.At(0, x, y));
      }
    }
    EXPECT_LE(halo, 1) << strength;
  }
  // Nor does anything of the background shine through: white before white stays white.
  const TestFrame white = Composed(frame, truth, Colour{255, 255, 255});
  EXPECT_GE(*std::min_element(&white.At(0, 0, 0), &white.At(0, 0, kHeight)), 200);
}

}  // namespace
}  // namespace pexo::test
