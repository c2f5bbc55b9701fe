// Effects 1 and 2 through the nine functions, on an engine whose mask is known: what the caller's frame holds after
// each call, bit for bit, and how presence is debounced.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "blur/background_blur.h"
#include "common/log.h"
#include "snpe/snpe_network.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/frames.h"
#include "tests/support/handle.h"

namespace pexo::test {
namespace {

constexpr uint32_t kFrames = PEXO_TEST_FRAMES;
constexpr uint32_t kLongestPrediction = 20'000;  // microseconds

// The chroma without the background's colour, straight from the formula; all of it grey without a mask.
std::vector<uint8_t> ColourRetained(const Frame& frame, const Image* mask) {
  std::vector<uint8_t> pixels = frame.pixels();
  const int width = frame.image().width;
  const int luma = width * frame.image().height;
  for (int i = 0; i < luma / 2; ++i) {
    uint8_t& chroma = pixels[static_cast<size_t>(luma + i)];
    const int m = mask == nullptr ? 0 : mask->plane[0][2 * (i / width) * width + i % width];
    chroma = static_cast<uint8_t>((128 * (255 - m) + chroma * m) / 256 + 1);
  }
  return pixels;
}

// One network on the caller's thread, as the pipelines' frames are held against.
class Reference {
 public:
  Reference() { EXPECT_EQ(network_.Init(), kNetworkOk); }

  // The mask of a frame that was pre-processed with `taken` and post-processed with `shaped`.
  Image MaskOf(const Frame& frame, const FrameParams& taken, FrameParams shaped, int32_t width, int32_t height) {
    Image mask = Gray(width, height);
    network_.PreProcess(frame.image(), taken);
    network_.Predict();
    network_.PostProcess(shaped, mask);
    return mask;
  }

 private:
  SnpeNetwork network_{kAnyModel};
};

class Effects : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { log_level = 0; }
  void SetUp() override { fake::SetEngine({}); }
};

// Runs first: the presence state of the process is never reset.
TEST_F(Effects, ColourGoesWhenNobodyHasBeenThereForLongAndReturnsAtOnce) {
  constexpr int32_t kSize = 128;
  // Blocks of 64 that are bright: shares 0.09 (nobody), 0.20 (somebody, but not obviously) and 0.25 of the frame.
  constexpr int kFew = 6, kSome = 13, kObvious = 16;
  struct Run {
    int times, blocks;
    bool colour;
  };
  constexpr Run kRuns[] = {{1, kObvious, true}, {6, kFew, true},  // the frame of the change and five more
                           {3, kFew, false},    {1, kObvious, true}, {1, kFew, false},
                           {6, kSome, false},   {2, kSome, true},    {1, kObvious, true}};
  Handle handle(HUMANBODYSEG_EFFECT_COLOUR);
  ASSERT_EQ(handle.Init(), HUMANBODYSEG_OK);
  Reference reference;
  std::unique_ptr<Frame> before;
  bool before_has_colour = false;
  for (const Run& run : kRuns) {
    for (int time = 0; time < run.times; ++time) {
      auto now = std::make_unique<Frame>(kSize, kSize);
      std::fill(now->pixels().begin() + kSize * kSize, now->pixels().end(), uint8_t{140});
      for (int i = 0; i < kSize * kSize; ++i) {
        const int block = i / kSize / 16 * 8 + i % kSize / 16;
        now->pixels()[static_cast<size_t>(i)] = block < run.blocks ? 230 : 20;
      }
      Frame buffer(*now);
      ASSERT_EQ(handle.Process(buffer.image()), HUMANBODYSEG_OK);
      if (before != nullptr) {
        const Image mask = reference.MaskOf(*before, {}, {}, kSize, kSize);
        EXPECT_EQ(buffer.pixels(), ColourRetained(*before, before_has_colour ? &mask : nullptr)) << run.blocks << time;
      } else {
        EXPECT_EQ(buffer.pixels(), now->pixels()) << "a full mask gives the chroma back";
      }
      before = std::move(now);
      before_has_colour = run.colour;
    }
  }
}

// Frames back to back, predictions of any length, sizes and keys 258 and 260 that change on the way.
TEST_F(Effects, EveryFrameComesBackWithTheMaskOfItsOwnPixels) {
  constexpr int32_t kSizes[][2] = {{64, 48}, {64, 32}, {96, 48}, {72, 50}};
  constexpr uint32_t kRotations[] = {0, 90, 180, 270, 45};
  struct Submission {
    Frame frame;
    FrameParams params;
    std::vector<uint8_t> answer;
  };
  for (const int32_t effect : {HUMANBODYSEG_EFFECT_COLOUR, HUMANBODYSEG_EFFECT_BLUR}) {
    const bool blur = effect == HUMANBODYSEG_EFFECT_BLUR;
    fake::Engine engine;
    engine.inputs[0].shape = {1, 16, 16, 3};  // another size than the output's 8x8
    fake::SetEngine(engine);
    Handle handle(effect);
    ASSERT_EQ(handle.Init(), HUMANBODYSEG_OK);
    std::mt19937 random(42);
    std::vector<Submission> submitted;
    size_t size = 0;
    for (uint32_t i = 0; i < kFrames; ++i) {
      if (i % 37 == 0) size = random() % std::size(kSizes);
      FrameParams params;
      params.rotation = kRotations[random() % std::size(kRotations)];
      params.layout_mode = random() % 2;
      handle.Set(PARAM_ROTATION, static_cast<int32_t>(params.rotation));
      handle.Set(PARAM_LAYOUT_MODE, static_cast<int32_t>(params.layout_mode));
      engine.prediction_time = std::chrono::microseconds(random() % kLongestPrediction);
      fake::SetEngine(engine);
      submitted.push_back({Frame::Noise(kSizes[size][0], kSizes[size][1], random()), params, {}});
      Frame buffer(submitted.back().frame);
      ASSERT_EQ(handle.Process(buffer.image()), HUMANBODYSEG_OK);
      submitted.back().answer = buffer.pixels();
    }
    EXPECT_EQ(fake::OverlappingExecutions(), 0);
    EXPECT_GT(pexoHumanBodyGetExecuteTime(handle.record), 0.0f);

    engine.prediction_time = {};
    fake::SetEngine(engine);
    Reference reference;
    const size_t lateness = blur ? 2 : 1;
    for (size_t i = 0; i < submitted.size(); ++i) {
      const Submission& now = submitted[i];
      Frame expected(now.frame);
      if (i >= lateness) {
        const Submission& back = submitted[i - lateness];
        Frame picture(back.frame);
        if (blur) {
          const Image mask = reference.MaskOf(back.frame, back.params, back.params, 128, 128);
          ComposeBackgroundBlur(back.frame.image(), picture.image(), mask, 1.5f);
        }
        ConvertImage(expected.image(), picture.image());  // into a buffer that may have another size by now
        if (!blur) {
          // The mask is turned and decoded by the keys of the call that fetches it.
          const Image mask =
              reference.MaskOf(back.frame, back.params, now.params, expected.image().width, expected.image().height);
          expected.pixels() = ColourRetained(expected, &mask);
        }
      } else if (!blur) {
        const Image person = Gray(expected.image().width, expected.image().height, 255);
        expected.pixels() = ColourRetained(expected, &person);
      }
      ASSERT_TRUE(now.answer == expected.pixels()) << "effect " << effect << ", frame " << i;
    }
  }
}

}  // namespace
}  // namespace pexo::test
