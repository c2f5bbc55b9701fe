// SPDX-License-Identifier: Apache-2.0
// Effects 1 and 2 through the nine functions, on an engine whose mask is known: what the caller's frame holds after
// each call, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "blur/background_blur.h"
#include "common/log.h"
#include "kernels/kernel_table.h"
#include "snpe/snpe_network.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/handle.h"
#include "tests/support/test_image.h"

namespace pexo::test {
namespace {

struct Submission {
  TestImage frame;
  FrameParams params;
  TestImage answer;
};

// The mask of one network on the caller's thread, shaped with these parameters.
TestImage MaskOf(const Submission& taken, FrameParams shaped, int32_t width, int32_t height, Network& network) {
  TestImage mask(width, height, kFormatGray8);
  network.PreProcess(taken.frame, taken.params);
  network.Predict();
  network.PostProcess(shaped, mask);
  return mask;
}

// Frames back to back, predictions of any length, sizes and keys 258 and 260 that change on the way.
TEST(Effects, EveryFrameComesBackWithTheMaskOfItsOwnPixels) {
  log_level = 0;
  constexpr int32_t kSizes[][2] = {{64, 48}, {64, 32}, {96, 48}, {72, 50}};
  constexpr uint32_t kRotations[] = {0, 90, 180, 270, 45};
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
    for (uint32_t i = 0; i < PEXO_TEST_FRAMES; ++i) {
      if (i % 37 == 0) size = random() % std::size(kSizes);
      FrameParams params;
      params.rotation = kRotations[random() % std::size(kRotations)];
      params.layout_mode = random() % 2;
      handle.Set(PARAM_ROTATION, static_cast<int32_t>(params.rotation));
      handle.Set(PARAM_LAYOUT_MODE, static_cast<int32_t>(params.layout_mode));
      engine.prediction_time = std::chrono::microseconds(random() % 20'000);
      fake::SetEngine(engine);
      const TestImage frame = TestImage::Noise(kSizes[size][0], kSizes[size][1], random());
      submitted.push_back({frame, params, frame});
      ASSERT_EQ(handle.Process(submitted.back().answer), HUMANBODYSEG_OK);
    }
    EXPECT_EQ(fake::Misuses(), 0);
    EXPECT_GT(pexoHumanBodyGetExecuteTime(handle.record), 0.0f);

    engine.prediction_time = {};
    fake::SetEngine(engine);
    SnpeNetwork reference(kAnyModel);
    ASSERT_EQ(reference.Init(), kNetworkOk);
    const size_t lateness = blur ? 2 : 1;
    for (size_t i = 0; i < submitted.size(); ++i) {
      const Submission& now = submitted[i];
      TestImage expected(now.frame);
      if (i >= lateness) {
        const Submission& back = submitted[i - lateness];
        // For the colour it is turned and decoded by the keys of the call that fetches it.
        const TestImage mask = blur ? MaskOf(back, back.params, 128, 128, reference)
                                    : MaskOf(back, now.params, expected.width, expected.height, reference);
        TestImage picture(back.frame);
        if (blur) ComposeBackgroundBlur(back.frame, picture, mask, 1.5f);
        ConvertImage(expected, picture);  // into a buffer that may have another size by now
        for (int row = 0; !blur && row < expected.height / 2; ++row) {
          Kernels().blend_towards_grey(&expected.At(1, row, 0), &mask.At(0, 2 * row, 0), expected.width);
        }
      } else if (!blur) {
        for (uint8_t& chroma : expected.pixels[1]) chroma = std::max(chroma, uint8_t{1});  // all of it is person
      }
      ASSERT_TRUE(now.answer == expected) << "effect " << effect << ", frame " << i;
    }
  }
}

}  // namespace
}  // namespace pexo::test
