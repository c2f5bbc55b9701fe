// SPDX-License-Identifier: Apache-2.0
// The whole way through the library: a real person in a real photograph, still and panned.
#include <gtest/gtest.h>

#include "tests/compositor/scene.h"
#include "tests/support/photograph.h"

namespace pexo::test {
namespace {

TestFrame PhotographFrame(int width, int height) {
  TestFrame frame(width, height);
  std::ranges::copy(
      Photograph(static_cast<size_t>(width), static_cast<size_t>(height), "yuvj420p", frame.pixels().size()),
      frame.pixels().begin());
  return frame;
}

// Its right part in a wider frame; the left column repeats. `shift`, an even number, moves it to the right, out of the
// frame.
TestFrame Widened(const TestFrame& source, int width, int shift = 0) {
  TestFrame frame(width, source.view().height);
  const int missing = width + shift - source.view().width;
  ForEachSample(frame, [&](int c, int x, int y) {
    frame.At(c, x, y) = source.At(c, std::max(0, x - missing / (c == 0 ? 1 : 2)), y);
  });
  return frame;
}

// Masks frame by frame, as a film's.
class Masks {
 public:
  explicit Masks(double calm) : composer_(Edges::kPicture, calm, 0) { composer_.backdrop().Set(Grey{}); }
  Plane<uint8_t> Next(const TestFrame& frame) {
    segmenter_.Segment(frame.input(), segmentation_);
    composer_.Compose(frame.input(), segmentation_, Copy(frame).view());
    return CopyOf(composer_.mask());
  }

 private:
  Segmenter segmenter_{{PEXO_MODELS_DIR "/MoviePortraitSmallWide.dlc", 256, 144}, 0};
  Segmentation segmentation_;
  Composer composer_;
};

TEST(Photograph, CalmTakesTheFlickerAndLeavesTheMotion) {
  const TestFrame photograph = PhotographFrame(614, 720);
  // Still: noise alone moves the masks.
  double squares[2] = {}, crossings[2] = {};
  for (const int calm : {0, 1}) {
    Masks masks(calm);
    Plane<uint8_t> last;
    for (uint32_t i = 0; i < 20; ++i) {
      const TestFrame frame = Widened(photograph, 1280);
      AddNoise(frame, 5, i);
      Plane<uint8_t> mask = masks.Next(frame);
      for (int y = 0; i > 5 && y < mask.height(); ++y) {
        for (int x = 0; x < mask.width(); ++x) {
          const int now = mask.Row(y)[x], then = last.Row(y)[x];
          squares[calm] += (now - then) * (now - then);
          crossings[calm] += (now >= 128) != (then >= 128);
        }
      }
      last = std::move(mask);
    }
  }
  EXPECT_LE(std::sqrt(squares[1] / squares[0]), 0.40);
  EXPECT_LE(crossings[1] / crossings[0], 0.40);

  // A pan, and a cut to the mirrored picture.
  Masks calmed(1), alone(0), uncalmed(0);
  double loss = 0;
  constexpr int kFrames = 10;
  for (int i = 0; i < kFrames; ++i) {
    const TestFrame clean = Widened(photograph, 1280, 8 * i);
    const Plane<uint8_t> truth = alone.Next(clean);
    const TestFrame noisy = Copy(clean);
    AddNoise(noisy, 5, static_cast<uint32_t>(i));
    loss += (Iou(uncalmed.Next(noisy), truth) - Iou(calmed.Next(noisy), truth)) / kFrames;
  }
  EXPECT_LE(loss, 0.002);
  const TestFrame other = PhotographFrame(1280, 720);
  const double cut = Iou(calmed.Next(other), alone.Next(other));
  EXPECT_GE(cut, 0.998);
}

}  // namespace
}  // namespace pexo::test
