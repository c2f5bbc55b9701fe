// SPDX-License-Identifier: Apache-2.0
// Every kind of frame gives the same picture, on every processor; the person is not touched.
#include <gtest/gtest.h>
#include <hwy/targets.h>

#include "tests/compositor/scene.h"

namespace pexo::test {
namespace {

const Background kBackgrounds[] = {Blur{}, Grey{}, Colour{200, 30, 90}, Transparent{}};

TestFrame Noise(int width, int height, Layout layout = Layout::kI420, Range range = Range::kFull) {
  TestFrame frame(width, height, layout, 0, range);
  frame.Paint([](int, int) { return Yuv{128, 128, 128}; });
  AddNoise(frame, 50, static_cast<uint32_t>(width * 7 + height));
  return frame;
}

Matte Person(int width, int height) {
  return Ellipse(width, height, width * 0.5, height * 0.6, width * 0.3, height * 0.5);
}

// Two frames of a film, so that calm has a part in it; the second, into `out`, may be rendered in place. Returns its
// mask.
Plane<uint8_t> ComposeTwice(const Background& background, const TestFrame& frame, const Frame& out) {
  Composer composer(Edges::kPicture, 1, 0);
  composer.backdrop().Set(background);
  composer.Compose(frame.input(), Segmented(frame, Matte(out.width, out.height, 0.9f)), Copy(frame).view());
  composer.Compose(frame.input(), Segmented(frame, Person(out.width, out.height)), out);
  return CopyOf(composer.mask());
}

TEST(Frames, LayoutsStridesAndSizesGiveOnePictureAndLeaveThePerson) {
  constexpr int kSizes[][2] = {{2, 2}, {2, 50}, {62, 2}, {66, 34}, {130, 6}, {256, 144}, {642, 362}};
  for (const auto& [width, height] : kSizes) {
    const TestFrame frame = Noise(width, height);
    for (const Background& background : kBackgrounds) {
      SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + " " + std::to_string(background.index()));
      const TestFrame expected = Copy(frame);
      const Plane<uint8_t> mask = ComposeTwice(background, frame, expected.view());
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          if (mask.Row(y)[x] != 255) continue;
          ASSERT_EQ(expected.At(0, x, y), frame.At(0, x, y));
          ASSERT_EQ(expected.At(1, x / 2, y / 2), frame.At(1, x / 2, y / 2));
          ASSERT_EQ(expected.At(2, x / 2, y / 2), frame.At(2, x / 2, y / 2));
        }
      }
      for (const Layout layout : {Layout::kI420, Layout::kYv12, Layout::kNv12, Layout::kNv21}) {
        for (const int padding : {0, 1, 37}) {
          const TestFrame input = Copy(frame, layout, padding);
          // Into a frame of another layout, and in place.
          const TestFrame output(width, height, layout == Layout::kNv12 ? Layout::kYv12 : Layout::kNv12, 40 - padding);
          for (const TestFrame* out : {&output, &input}) {
            ComposeTwice(background, input, out->view());
            EXPECT_TRUE(SamePicture(*out, expected));
          }
        }
      }
    }
  }
}

TEST(Frames, EveryInstructionSetGivesTheSameBytes) {
  for (const Background& background : kBackgrounds) {
    const TestFrame frame = Noise(330, 186, Layout::kNv21, Range::kLimited);
    const TestFrame expected = Copy(frame);
    ComposeTwice(background, frame, expected.view());
    const int64_t all = hwy::SupportedTargets();
    for (int64_t rest = all; rest != 0; rest &= rest - 1) {
      hwy::SetSupportedTargetsForTest(rest & -rest);
      hwy::GetChosenTarget().Update(hwy::SupportedTargets());
      const TestFrame out = Copy(frame);
      ComposeTwice(background, frame, out.view());
      EXPECT_TRUE(SamePicture(out, expected)) << hwy::TargetName(rest & -rest);
    }
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
}

TEST(Frames, RangeAndMatrixAreTheFramesOwn) {
  const std::tuple<Range, Matrix, std::array<int, 3>> cases[] = {{Range::kFull, Matrix::kBt601, {151, 43, 202}},
                                                                 {Range::kLimited, Matrix::kBt601, {146, 53, 193}},
                                                                 {Range::kFull, Matrix::kBt709, {146, 49, 197}},
                                                                 {Range::kLimited, Matrix::kBt709, {141, 59, 189}}};
  Composer composer(Edges::kModel, 0, 0);
  const auto compose = [&composer](Range range, Matrix matrix) {
    TestFrame frame(16, 16, Layout::kI420, 0, range, matrix);
    composer.Compose(frame.input(), Segmented(frame, Matte(16, 16)), frame.view());
    return frame;
  };
  for (const auto& [range, matrix, levels] : cases) {
    composer.backdrop().Set(Colour{255, 128, 0});
    const TestFrame flat = compose(range, matrix);
    for (size_t c = 0; c < 3; ++c) EXPECT_EQ(flat.At(static_cast<int>(c), 7, 7), levels[c]);
    composer.backdrop().Set(Picture{flat.input()});
    for (const auto& [other_range, other_matrix, expected] : cases) {
      const TestFrame out = compose(other_range, other_matrix);
      for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(out.At(static_cast<int>(c), 7, 7), expected[c], 1);
    }
  }
  composer.backdrop().Set(Grey{});
  const TestFrame grey = compose(Range::kLimited, Matrix::kBt709);
  EXPECT_TRUE(grey.At(0, 7, 7) == 77 && grey.At(1, 7, 7) == 128 && grey.At(2, 7, 7) == 128);
}

// Black farther than 8 pixels from what can be seen, a disc of radius 30.5; up to there the person's colour goes on.
TEST(Frames, TransparentOnesHoldNothingOfTheRoom) {
  for (const auto& [range, black] : {std::pair(Range::kFull, 0), {Range::kLimited, 16}}) {
    const TestFrame frame = Noise(256, 144, Layout::kNv12, range);
    Composer composer(Edges::kModel, 0, 0);
    composer.backdrop().Set(Transparent{});
    composer.Compose(frame.input(), Segmented(frame, Ellipse(256, 144, 128, 72, 30, 30)), frame.view());
    ForEachSample(frame, [&, black = black](int c, int x, int y) {
      const double radius = std::hypot((x << (c > 0)) - 128, (y << (c > 0)) - 72);
      const int level = frame.At(c, x, y);
      ASSERT_TRUE(radius <= (c == 0 ? 38.5 : 40) || level == (c == 0 ? black : 128)) << level << " at " << radius;
      ASSERT_TRUE(c > 0 || radius <= 31 || radius > 34 || level > 60) << level << " at " << radius;
    });
  }
}

TEST(Frames, PicturesCoverTheFrameInItsRange) {
  // A picture twice as wide as it should be loses both sides.
  const TestFrame picture(480, 120, Layout::kNv21, 0, Range::kLimited);
  picture.Paint([](int x, int) { return Yuv{x < 120 ? 10.0 : x < 360 ? 100.0 : 200.0, 90, 160}; });
  const TestFrame frame = Composed(Noise(80, 40), Matte(80, 40), Picture{picture.input()});
  for (const auto& [c, x, y, level] : {std::array{0, 0, 0, 98}, {0, 79, 39, 98}, {1, 20, 10, 85}, {2, 20, 10, 164}}) {
    EXPECT_NEAR(frame.At(c, x, y), level, 1);
  }
}

TEST(Frames, WrongOnesAreRefused) {
  const TestFrame frame(8, 8);
  for (const auto spoil : std::initializer_list<void (*)(ConstFrame&)>{
           [](ConstFrame& f) { f.width = 7; }, [](ConstFrame& f) { f.height = 0; },
           [](ConstFrame& f) { f.height = 32768; }, [](ConstFrame& f) { f.plane[2] = nullptr; },
           [](ConstFrame& f) { f.stride[0] = 7; }}) {
    ConstFrame wrong = frame.input();
    spoil(wrong);
    EXPECT_THROW(CheckFrame(wrong), std::invalid_argument);
    EXPECT_THROW(Backdrop().Set(Picture{wrong}), std::invalid_argument);
  }
  for (const double strength : {0.0, 101.0, std::nan("")}) {
    EXPECT_THROW(Backdrop().Set(Blur{strength}), std::invalid_argument);
  }
}

}  // namespace
}  // namespace pexo::test
