// SPDX-License-Identifier: Apache-2.0
// The compositor with an engine that does what it is told.
#include <gtest/gtest.h>

#include <tuple>

#include "tests/compositor/scene.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/handle.h"

namespace pexo::test {
namespace {

// The engine takes green for the person, and one channel for the mask as it is, nearly. Its pictures are 64 wide and 32
// high when they lie as the frame lies.
fake::Engine Engine(int rotation = 0) {
  fake::Engine engine;
  const size_t height = rotation % 180 == 0 ? 32 : 64, width = 96 - height;
  engine.inputs = {{"input", {1, height, width, 3}}};
  engine.outputs = {{"output", {1, height, width, 1}}};
  return engine;
}

Options With(Background background, bool has_worker = true, int rotation = 0) {
  const bool lies = rotation % 180 != 0;
  const Model model{kAnyModel, lies ? 32 : 64, lies ? 64 : 32};
  return {.model = model, .background = background, .rotation = rotation, .has_worker = has_worker};
}

// A white bar, which is a person to the engine, at `left` of a black frame.
TestFrame Bar(int left, int width = 320, int height = 192) {
  TestFrame frame(width, height, Layout::kNv12);
  frame.Paint([&](int x, int) { return Yuv{x >= left && x < left + 80 ? 250.0 : 5.0, 128, 128}; });
  return frame;
}

TEST(Compositor, EveryMaskBelongsToItsFrame) {
  fake::SetEngine(Engine());
  for (const bool has_worker : {false, true}) {
    Compositor ahead(With(Colour{0, 0, 255}, has_worker)), single(With(Colour{0, 0, 255}, !has_worker));
    std::vector<TestFrame> frames;
    for (int i = 0; i < 12; ++i) frames.push_back(i == 7 ? Bar(40, 200, 240) : Bar(20 * i));
    ahead.Begin(frames[0].input());
    for (size_t i = 0; i < frames.size(); ++i) {
      if (i + 1 < frames.size()) ahead.Begin(frames[i + 1].input());
      const TestFrame expected = Copy(frames[i]), out = Copy(frames[i]);
      single.Process(expected.input(), expected.view());
      const Rendered rendered = ahead.Finish(out.view());
      EXPECT_TRUE(SamePicture(out, expected)) << i;
      const int middle = rendered.mask.width == 200 ? 80 : static_cast<int>(20 * i) + 40;
      EXPECT_EQ(rendered.mask.pixels[middle], 255) << i;
      EXPECT_NEAR(rendered.person_fraction, 80.0 / rendered.mask.width, 0.1);
    }
  }
}

TEST(Compositor, AFrameOnItsSideIsTurnedForTheModelAndThePictureBehindItBack) {
  fake::SetEngine(Engine());
  const TestFrame frame = Bar(40);
  const TestFrame expected = Copy(frame);
  Compositor(With(Grey{})).Process(expected.input(), expected.view());
  const TestFrame sky(400, 400);  // above, ground below
  sky.Paint([](int, int y) { return Yuv{y < 200 ? 180.0 : 60.0, 128, 128}; });
  // A point of the frame far from the person that is near the upper edge of the upright picture.
  for (const auto& [rotation, x, y] : {std::array{0, 300, 10}, {90, 10, 20}, {180, 300, 180}, {270, 310, 100}}) {
    fake::SetEngine(Engine(rotation));
    const TestFrame out = Copy(frame);
    Compositor compositor(With(Grey{}, true, rotation));
    compositor.Process(frame.input(), out.view());
    EXPECT_TRUE(SamePicture(out, expected)) << rotation;
    compositor.SetBackground(Picture{sky.input()});
    compositor.Process(frame.input(), out.view());
    EXPECT_NEAR(out.At(0, x, y), 180, 1) << rotation;
  }
  EXPECT_THROW(Compositor(With(Grey{}, true, 45)), std::invalid_argument);
}

// A flat frame is somewhat of a person to the engine, by its level.
TestFrame Flat(int level) {
  TestFrame frame(320, 192);
  frame.Paint([&](int, int) { return Yuv{static_cast<double>(level), 128, 128}; });
  return frame;
}

int MaskLevel(Compositor& compositor, const TestFrame& frame) {
  return *compositor.Process(frame.input(), Copy(frame).view()).mask.pixels;
}

TEST(Compositor, AFailingLibraryNeverPassesForAPicture) {
  const Colour blue{0, 0, 255};
  for (const bool has_worker : {false, true}) {
    fake::SetEngine(Engine());
    Compositor compositor(With(blue, has_worker)), fresh(With(blue));
    const int before = MaskLevel(compositor, Flat(120)), after = MaskLevel(fresh, Flat(122));
    EXPECT_NE(before, after);
    fake::Engine broken = Engine();
    broken.succeeds = false;
    fake::SetEngine(broken);
    TestFrame out = Flat(122);
    const std::vector<uint8_t> pixels = out.pixels();
    EXPECT_THROW(compositor.Process(out.input(), out.view()), Error);
    EXPECT_EQ(out.pixels(), pixels);
    // The next frame is as good as new.
    fake::SetEngine(Engine());
    EXPECT_EQ(MaskLevel(compositor, Flat(122)), after);
    EXPECT_LT(MaskLevel(compositor, Flat(124)), MaskLevel(fresh, Flat(126)));
    compositor.Reset();
    EXPECT_EQ(MaskLevel(compositor, Flat(122)), after);
  }
  fake::Engine broken = Engine();
  broken.builds = false;
  fake::SetEngine(broken);
  EXPECT_THROW(Compositor(With(blue)), Error);
}

TEST(Compositor, TheModelSeesFullRangeOfBt601) {
  fake::SetEngine(Engine());
  // A colour of 37, 160, 132, which is as green as a grey of 160.
  const std::tuple<Range, Matrix, Yuv> cases[] = {{Range::kFull, Matrix::kBt601, {120, 135, 69}},
                                                  {Range::kLimited, Matrix::kBt601, {119, 134, 76}},
                                                  {Range::kFull, Matrix::kBt709, {132, 128, 68}},
                                                  {Range::kLimited, Matrix::kBt709, {129, 128, 75}}};
  for (const auto& [range, matrix, colour] : cases) {
    const TestFrame frame(320, 192, Layout::kI420, 0, range, matrix);
    frame.Paint([&, colour = colour](int, int) { return colour; });
    Compositor grey(With(Grey{})), green(With(Grey{}));
    EXPECT_NEAR(MaskLevel(green, frame), MaskLevel(grey, Flat(160)), 3);
  }
}

TEST(Compositor, SaysWhenItIsNotUsedRight) {
  fake::SetEngine(Engine());
  const TestFrame frame = Bar(100), small = Bar(0, 100, 100), limited(320, 192, Layout::kI420, 0, Range::kLimited);
  Compositor compositor(With(Blur{}));
  EXPECT_THROW(compositor.Finish(frame.view()), std::logic_error);
  for (int i = 0; i < Compositor::kMaxBegun; ++i) compositor.Begin(frame.input());
  EXPECT_THROW(compositor.Begin(frame.input()), std::logic_error);
  for (const TestFrame* wrong : {&small, &limited})
    EXPECT_THROW(compositor.Finish(wrong->view()), std::invalid_argument);
  EXPECT_NO_THROW(compositor.Finish(frame.view()));
  Options options = With(Blur{});
  options.calm = 2;
  EXPECT_THROW(Compositor{options}, std::invalid_argument);
  options = With(Blur{200});
  EXPECT_THROW(Compositor{options}, std::invalid_argument);
}

}  // namespace
}  // namespace pexo::test
