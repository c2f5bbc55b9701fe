// SPDX-License-Identifier: Apache-2.0
// What goes wrong inside a pipeline stays with the frame it happened to. A wake-up that is lost ends in the time limit.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <stdexcept>
#include <thread>

#include "pipeline/multiply_thread_network.h"
#include "pipeline/sequence_thread_network.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_image.h"

namespace {

std::atomic<int32_t> refused_format = 0;  // an image of this format is freed, and the answer says that it is not

}  // namespace

// The linker's --wrap brings the pipelines' calls here.
extern "C" int32_t __real_qmxImageFree(QmxImage* image);
extern "C" int32_t __wrap_qmxImageFree(QmxImage* image) {
  const bool refuse = image->format == refused_format;
  return __real_qmxImageFree(image) != 0 || refuse ? 1 : 0;
}

namespace pexo::test {
namespace {

constexpr int32_t kWidth = 64;
constexpr int32_t kHeight = 48;
constexpr std::chrono::milliseconds kWhile{15};

// What happens to a frame. From kFails on it gets no mask; with the last two that is when the mask is read.
enum class Fault { kNone, kBlurFails, kBlurThrows, kNobody, kFails, kThrows, kThrowsAnything, kNoMask, kThrowsNoMask };
using enum Fault;

// Input 16x16 RGB, output 8x8, made of the pixels: the mask goes through the double-size path.
struct EncodingNetwork : Network {
  EncodingNetwork() {
    input_height = input_width = 16;
    input_channels = 3;
    output_height = output_width = 8;
    output_channels = 2;
  }
  int32_t Uninit() override { return uninits++; }  // nobody looks at the answer
  int32_t SetInput(const QmxImage& image) override {
    input.assign(image.plane[0], image.plane[0] + 3 * 16 * 16);
    return kNetworkOk;
  }
  int32_t Predict() override {
    std::this_thread::sleep_for(time);
    fault = faults[predictions++];
    if (fault == kThrows) throw std::runtime_error("the engine is on fire");
    if (fault == kThrowsAnything) throw 1;
    mask = input;
    return fault == kFails ? kNetworkFailed : kNetworkOk;
  }
  int32_t GetOutput(QmxImage& image) override {
    if (fault == kThrowsNoMask) throw std::bad_alloc();
    for (size_t i = 0; i < 64; ++i) image.plane[0][i] = fault == kNobody ? 0 : mask[12 * i];
    return fault == kNoMask ? 1 : kNetworkOk;
  }

  std::map<size_t, Fault> faults;  // by number of the prediction
  std::chrono::milliseconds time{0};
  size_t predictions = 0;
  int32_t uninits = 0;
  Fault fault = kNone;
  std::vector<uint8_t> input, mask;
};

template <typename Pipeline>
struct Rig {
  Rig() { pipeline.networks.push_back(network); }

  // Feeds frame `seed`; what comes back is in `buffer` and `mask`.
  int32_t Feed(uint32_t seed, int32_t mask_width = 128, int32_t mask_height = 128) {
    buffer = TestImage::Noise(kWidth, kHeight, seed);
    params = {.foreground_fraction = 0.5f};  // not to be taken for a result
    mask = TestImage::Noise(mask_width, mask_height, seed, kFormatGray8);
    return pipeline.Process(buffer, params, mask);
  }

  bool HoldsFrame(uint32_t seed) const { return buffer == TestImage::Noise(kWidth, kHeight, seed); }

  // Whether the mask is that of one network alone.
  bool HasMaskOf(uint32_t seed) const {
    EncodingNetwork alone;
    FrameParams unused;
    TestImage frame = TestImage::Noise(kWidth, kHeight, seed), expected(mask.width, mask.height, kFormatGray8);
    alone.Process(frame, unused, expected);
    return mask == expected;
  }

  Pipeline pipeline;
  std::shared_ptr<EncodingNetwork> network = std::make_shared<EncodingNetwork>();
  TestImage buffer{kWidth, kHeight}, mask{128, 128, kFormatGray8};
  FrameParams params;
};

template <typename Pipeline>
constexpr bool kBlurs = std::is_same_v<Pipeline, SequenceThreadNetwork>;

template <typename Pipeline>
class Faults : public ::testing::Test {};
using BothPipelines = ::testing::Types<MultiplyThreadNetwork, SequenceThreadNetwork>;
TYPED_TEST_SUITE(Faults, BothPipelines);

// Each is logged and its frame moves on, as it was. Where the mask is missing, all of it is person.
TYPED_TEST(Faults, StayWithTheirFrameAndAreLogged) {
  constexpr uint32_t kLateness = TypeParam::max_in_flight;
  constexpr Fault kFaults[] = {kFails,  kNone,         kThrows, kThrowsAnything, kNone,
                               kNoMask, kThrowsNoMask, kNobody, kBlurFails,      kBlurThrows};
  Lines expected = {"Fail to predict in thread and ret value = 2", "Exception in thread = the engine is on fire",
                    "Exception in thread!", "Exception in thread = std::bad_alloc"};
  Rig<TypeParam> rig;
  for (size_t i = 0; i < std::size(kFaults); ++i) rig.network->faults[i] = kFaults[i];
  if constexpr (kBlurs<TypeParam>) {
    expected.insert(expected.begin() + 3, "Fail to postprocess in thread and ret value = 2");
    expected.insert(expected.end(), {"Fail to blur in thread!", "Exception in thread!"});
    rig.pipeline.blur = [blurs = 0](const auto& frame, auto& output, const auto& mask, float strength) mutable {
      if (++blurs == 4) throw 1;
      return TryComposeBackgroundBlur(frame, output, mask, strength) && blurs != 3;
    };
  }
  const auto feed = [&] {
    for (uint32_t i = 0; i < std::size(kFaults) + kLateness; ++i) {
      SCOPED_TRACE(i);
      ASSERT_EQ(rig.Feed(i), 0);
      if (i < kLateness) continue;
      const Fault fault = kFaults[i - kLateness];
      EXPECT_EQ(rig.HoldsFrame(i - kLateness), !kBlurs<TypeParam> || fault != kNone);
      EXPECT_EQ(rig.HasMaskOf(i - kLateness), fault < kNobody);
      EXPECT_EQ(rig.mask.pixels[0] == Pixels(128 * 128, 255), fault >= kFails);
      EXPECT_EQ(rig.params.foreground_fraction == 1.0f, !kBlurs<TypeParam> && fault >= kFails);
    }
    EXPECT_EQ(rig.pipeline.Uninit(), 0);
  };
  EXPECT_EQ(LogLines(feed), expected);
}

// Records serve again, for frames of their size; a second worker that starts later finds the first frame taken.
TYPED_TEST(Faults, EveryFrameIsPredictedOnceAndTimedAndHasAMaskOfItsOwn) {
  constexpr uint32_t kLateness = TypeParam::max_in_flight;
  for (const auto& [width, height] : {std::pair{128, 100}, {100, 128}}) {
    Rig<TypeParam> rig;
    const auto another = std::make_shared<EncodingNetwork>();
    rig.pipeline.networks.push_back(another);
    rig.network->time = another->time = kWhile;
    if constexpr (kBlurs<TypeParam>) {
      rig.pipeline.blur = [](const auto&...) { return std::this_thread::sleep_for(kWhile), true; };
    }
    for (uint32_t i = 0; i < 8; ++i) {
      ASSERT_EQ(rig.Feed(i, i % 2 == 0 ? 128 : width, i % 2 == 0 ? 128 : height), 0);
      EXPECT_TRUE(i < kLateness || rig.HasMaskOf(i - kLateness)) << i;
    }
    rig.pipeline.Uninit();
    EXPECT_LE(rig.network->predictions + another->predictions, 8u);
    EXPECT_GE(rig.pipeline.GetExecuteTime(), kBlurs<TypeParam> ? 29.9f : 14.9f);
  }
}

TYPED_TEST(Faults, UninitAtAnyMomentEndsTheThreadsAndAllowsANewStart) {
  for (const int32_t refused : {0, +kFormatNv21, +kFormatGray8}) {
    for (uint32_t fed = 0; fed < 5; ++fed) {
      Rig<TypeParam> rig;
      rig.network->time = kWhile;
      for (int round = 0; round < 2; ++round) {
        for (uint32_t i = 0; i < fed; ++i) ASSERT_EQ(rig.Feed(i), 0);
        refused_format = refused;
        EXPECT_EQ(rig.pipeline.Uninit(), refused != 0 && fed > 0 ? 2 : 0) << fed;
        refused_format = 0;
        EXPECT_EQ(rig.network->uninits, round + 1);
        EXPECT_EQ(rig.pipeline.networks.empty(), kBlurs<TypeParam>);
        rig.pipeline.networks = {rig.network};
      }
    }
  }
}

}  // namespace
}  // namespace pexo::test
