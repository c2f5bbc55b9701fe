// Effects 1 and 2 through the nine functions, on an engine whose mask is known: what the caller's frame holds after
// each call, and how presence is debounced.
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <vector>

#include "blur/background_blur.h"
#include "common/log.h"
#include "pexo/humanbodyseg.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/frames.h"

namespace pexo::test {
namespace {

constexpr int32_t kSize = 128;         // the mask of effect 2 has this size too, so effect 3 shows the very same mask
constexpr int32_t kBlock = kSize / 8;  // the fake engine has 8x8 pixels

struct Uninitialise {
  void operator()(HumanBodySegHandle* handle) const {
    pexoHumanBodySegUninit(handle);
    pexoHumanBodySegDestroy(handle);
  }
};
using Handle = std::unique_ptr<HumanBodySegHandle, Uninitialise>;

Handle Ready(int32_t effect, int32_t direction = 0) {
  Handle handle(pexoHumanBodySegCreate());
  pexoHumanBodySegSetParam(handle.get(), HUMANBODYSEG_PARAM_EFFECT_MODE, &effect);
  pexoHumanBodySegSetParam(handle.get(), HUMANBODYSEG_PARAM_CAMERA_DIRECTION, &direction);
  pexoHumanBodySegSetParam(handle.get(), HUMANBODYSEG_PARAM_MODEL_PATH, "/dev/null");  // the fake opens anything
  EXPECT_EQ(pexoHumanBodySegInit(handle.get()), HUMANBODYSEG_OK);
  return handle;
}

// Noise whose first `blocks` blocks of 64 are bright and the rest dark, each of a random level.
Frame FrameWithPeople(int blocks, uint32_t seed) {
  Frame frame = Frame::Noise(kSize, kSize, seed);
  std::mt19937 random(seed);
  for (int block = 0; block < 64; ++block) {
    const auto level = static_cast<uint8_t>((block < blocks ? 200 : 0) + random() % 40);
    for (int y = 0; y < kBlock; ++y) {
      for (int x = 0; x < kBlock; ++x) {
        const int row = block / 8 * kBlock + y;
        const int column = block % 8 * kBlock + x;
        frame.image().plane[0][row * kSize + column] = level;
      }
    }
  }
  // Little colour, so that the level of a block decides its green.
  for (int i = kSize * kSize; i < kSize * kSize * 3 / 2; ++i) {
    frame.pixels()[static_cast<size_t>(i)] = static_cast<uint8_t>(120 + random() % 16);
  }
  return frame;
}

std::vector<uint8_t> Luma(const Frame& frame) {
  return {frame.pixels().begin(), frame.pixels().begin() + kSize * kSize};
}

// Chroma with the background taken out, straight from the formula.
std::vector<uint8_t> WithoutBackgroundColour(const Frame& frame, const std::vector<uint8_t>& mask) {
  std::vector<uint8_t> pixels = frame.pixels();
  for (int i = 0; i < kSize * kSize / 2; ++i) {
    uint8_t& chroma = pixels[static_cast<size_t>(kSize * kSize + i)];
    const int m = mask[static_cast<size_t>(2 * (i / kSize) * kSize + i % kSize)];
    chroma = static_cast<uint8_t>((128 * (255 - m) + chroma * m) / 256 + 1);
  }
  return pixels;
}

std::vector<uint8_t> Grey(const Frame& frame) {
  std::vector<uint8_t> pixels = frame.pixels();
  std::fill(pixels.begin() + kSize * kSize, pixels.end(), uint8_t{128});
  return pixels;
}

class Effects : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { log_level = 0; }
  void SetUp() override { fake::SetEngine({}); }
};

// Runs first: the presence state of the process is never reset.
TEST_F(Effects, ColourGoesWhenNobodyHasBeenThereForLongAndReturnsAtOnce) {
  constexpr int kFew = 6;       // 0.09 of the frame: nobody, for direction 0
  constexpr int kSome = 13;     // 0.20: somebody, but not obviously
  constexpr int kObvious = 16;  // 0.25
  struct Step {
    int blocks;  // of the frame that comes back
    bool colour;
  };
  std::vector<Step> steps;
  const auto add = [&](int times, int blocks, bool colour) { steps.insert(steps.end(), times, {blocks, colour}); };
  add(1, kObvious, true);
  add(6, kFew, true);      // the first one and five more: not kept yet
  add(3, kFew, false);     // the seventh and all that follow
  add(1, kObvious, true);  // at once
  add(1, kFew, false);
  add(6, kSome, false);
  add(2, kSome, true);
  const Handle handle = Ready(HUMANBODYSEG_EFFECT_COLOUR);
  const Handle mask_view = Ready(HUMANBODYSEG_EFFECT_MASK);
  for (size_t i = 0; i <= steps.size(); ++i) {
    Frame frame = FrameWithPeople(i < steps.size() ? steps[i].blocks : 0, static_cast<uint32_t>(i));
    ASSERT_EQ(pexoHumanBodySegProcess(handle.get(), &frame.image(), nullptr), HUMANBODYSEG_OK);
    if (i == 0) continue;
    const Frame back = FrameWithPeople(steps[i - 1].blocks, static_cast<uint32_t>(i - 1));
    Frame mask(back);
    ASSERT_EQ(pexoHumanBodySegProcess(mask_view.get(), &mask.image(), nullptr), HUMANBODYSEG_OK);
    const auto expected = steps[i - 1].colour ? WithoutBackgroundColour(back, Luma(mask)) : Grey(back);
    EXPECT_EQ(frame.pixels(), expected) << "frame " << i - 1;
  }
}

TEST_F(Effects, FirstColourFrameHasNoPersonYetAndIsKeptWhole) {
  const Handle handle = Ready(HUMANBODYSEG_EFFECT_COLOUR);
  const Frame first = FrameWithPeople(20, 1);
  Frame frame(first);
  ASSERT_EQ(pexoHumanBodySegProcess(handle.get(), &frame.image(), nullptr), HUMANBODYSEG_OK);
  // The debounced state is "present" here, and a full mask gives every chroma value back but 0.
  EXPECT_EQ(frame.pixels(), first.pixels());
  EXPECT_EQ(pexoHumanBodyGetExecuteTime(handle.get()), 0.0f);
}

TEST_F(Effects, BackToBackFramesCarryTheirOwnEffect) {
  for (const int32_t effect : {HUMANBODYSEG_EFFECT_COLOUR, HUMANBODYSEG_EFFECT_BLUR}) {
    const size_t lateness = effect == HUMANBODYSEG_EFFECT_COLOUR ? 1 : 2;
    const Handle handle = Ready(effect);
    const Handle mask_view = Ready(HUMANBODYSEG_EFFECT_MASK);
    std::deque<Frame> in_flight;
    for (uint32_t i = 0; i < 300; ++i) {
      fake::Engine engine;
      engine.prediction_time = std::chrono::microseconds(i * 7919 % 3000);
      fake::SetEngine(engine);
      in_flight.push_back(FrameWithPeople(20 + static_cast<int>(i % 40), i));
      Frame frame(in_flight.back());
      ASSERT_EQ(pexoHumanBodySegProcess(handle.get(), &frame.image(), nullptr), HUMANBODYSEG_OK);
      if (in_flight.size() <= lateness) {
        EXPECT_EQ(frame.pixels(), in_flight.back().pixels());
        continue;
      }
      const Frame back = in_flight.front();
      in_flight.pop_front();
      Frame mask(back);
      ASSERT_EQ(pexoHumanBodySegProcess(mask_view.get(), &mask.image(), nullptr), HUMANBODYSEG_OK);
      Frame expected(kSize, kSize);
      if (effect == HUMANBODYSEG_EFFECT_COLOUR) {
        expected.pixels() = WithoutBackgroundColour(back, Luma(mask));
      } else {
        QmxImage gray = mask.image();
        gray.format = kFormatGray8;
        ComposeBackgroundBlur(back.image(), expected.image(), gray, 1.5f);
      }
      ASSERT_EQ(frame.pixels(), expected.pixels()) << "effect " << effect << ", frame " << i;
    }
    EXPECT_GT(pexoHumanBodyGetExecuteTime(handle.get()), 0.0f);
    EXPECT_EQ(fake::OverlappingExecutions(), 0);
  }
}

// The width of the frame matters to the colour effect only where it applies.
TEST_F(Effects, ColourNeedsAWidthOfEights) {
  const Handle handle = Ready(HUMANBODYSEG_EFFECT_COLOUR);
  Frame frame = Frame::Noise(132, 64, 1);
  EXPECT_EQ(pexoHumanBodySegProcess(handle.get(), &frame.image(), nullptr), HUMANBODYSEG_ERR_PARAM);
  for (int i = 0; i < 10; ++i) {
    frame.pixels().assign(frame.pixels().size(), 128);
    std::fill_n(frame.pixels().begin(), 132 * 64, uint8_t{0});
    const int32_t status = pexoHumanBodySegProcess(handle.get(), &frame.image(), nullptr);
    EXPECT_EQ(status, i < 7 ? HUMANBODYSEG_ERR_PARAM : HUMANBODYSEG_OK) << i;
  }
}

// An engine that fails or throws spoils its own frame at the most.
TEST_F(Effects, EngineFailuresEndWithTheirFrame) {
  for (const int32_t effect : {HUMANBODYSEG_EFFECT_COLOUR, HUMANBODYSEG_EFFECT_BLUR}) {
    const Handle handle = Ready(effect);
    std::vector<uint8_t> good;
    for (const bool throws : {false, true}) {
      fake::Engine broken;
      broken.succeeds = throws;
      broken.throws = throws;
      for (uint32_t i = 0; i < 6; ++i) {
        fake::SetEngine(i == 2 ? broken : fake::Engine{});
        Frame frame = FrameWithPeople(30, 5);
        ASSERT_EQ(pexoHumanBodySegProcess(handle.get(), &frame.image(), nullptr), HUMANBODYSEG_OK);
        good = frame.pixels();
      }
      Frame frame = FrameWithPeople(30, 5);
      ASSERT_EQ(pexoHumanBodySegProcess(handle.get(), &frame.image(), nullptr), HUMANBODYSEG_OK);
      EXPECT_EQ(frame.pixels(), good);
      EXPECT_NE(frame.pixels(), FrameWithPeople(30, 5).pixels());
    }
  }
}

}  // namespace
}  // namespace pexo::test
