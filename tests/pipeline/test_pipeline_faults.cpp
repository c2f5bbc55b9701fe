// What goes wrong inside a pipeline stays with the frame it happened to, and nothing hangs.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include "pipeline/multiply_thread_network.h"
#include "pipeline/sequence_thread_network.h"
#include "tests/pipeline/encoding_network.h"

namespace pexo::test {
namespace {

constexpr int32_t kWidth = 64;
constexpr int32_t kHeight = 48;

// A pipeline with one network; `prediction` gets the number of the frame.
template <typename Pipeline>
struct Rig {
  explicit Rig(std::function<int32_t(int)> prediction = [](int) { return kNetworkOk; }) {
    network = std::make_shared<EncodingNetwork>(
        [prediction = std::move(prediction), count = 0]() mutable { return prediction(count++); });
    pipeline.networks.push_back(network);
  }

  // Feeds frame `seed`; what comes back is in `buffer` and `mask`.
  int32_t Feed(uint32_t seed) {
    buffer = std::make_unique<Frame>(Frame::Noise(kWidth, kHeight, seed));
    params = {};
    mask = Gray(128, 128, 7);
    return pipeline.Process(buffer->image(), params, mask);
  }

  bool HoldsFrame(uint32_t seed) const { return buffer->pixels() == Frame::Noise(kWidth, kHeight, seed).pixels(); }

  // The mask on one thread.
  static std::vector<uint8_t> MaskOf(uint32_t seed) {
    EncodingNetwork alone;
    FrameParams params;
    Image mask = Gray(128, 128);
    Frame frame = Frame::Noise(kWidth, kHeight, seed);
    alone.Process(frame.image(), params, mask);
    return Bytes(mask);
  }

  Pipeline pipeline;
  std::shared_ptr<EncodingNetwork> network;
  std::unique_ptr<Frame> buffer;
  FrameParams params;
  Image mask;
};

const std::vector<uint8_t> kAllPerson(128 * 128, 255);

template <typename Pipeline>
constexpr int kLateness = std::is_same_v<Pipeline, MultiplyThreadNetwork> ? 1 : 2;

template <typename Pipeline>
class Faults : public ::testing::Test {};
using BothPipelines = ::testing::Types<MultiplyThreadNetwork, SequenceThreadNetwork>;
TYPED_TEST_SUITE(Faults, BothPipelines);

// A prediction that fails, two that throw and post-processing that fails: each is logged and its frame moves on, with
// the mask the engine gives after a mere failure, and otherwise sharp and as if all of it were person.
TYPED_TEST(Faults, StayWithTheirFrameAndAreLogged) {
  constexpr int kFails = 3, kThrows = 4, kThrowsAnything = 5, kNoMask = 8, kFrames = 14;
  constexpr bool kBlurs = std::is_same_v<TypeParam, SequenceThreadNetwork>;
  Rig<TypeParam> rig([](int count) {
    if (count == kThrows) throw std::runtime_error("the engine is on fire");
    if (count == kThrowsAnything) throw 1;
    return count == kFails ? 2 : count == kNoMask ? EncodingNetwork::kNoOutput : kNetworkOk;
  });
  ::testing::internal::CaptureStderr();
  for (int i = 0; i < kFrames; ++i) {
    ASSERT_EQ(rig.Feed(static_cast<uint32_t>(i)), 0);
    const int back = i - kLateness<TypeParam>;
    if (back < 0) continue;
    if (back == kThrows || back == kThrowsAnything || back == kNoMask) {
      EXPECT_TRUE(rig.HoldsFrame(static_cast<uint32_t>(back))) << back;
      EXPECT_EQ(Bytes(rig.mask), kAllPerson) << back;
      EXPECT_EQ(rig.params.foreground_fraction, 0.0f);
    } else {
      EXPECT_EQ(Bytes(rig.mask), rig.MaskOf(static_cast<uint32_t>(back))) << back;
    }
  }
  EXPECT_EQ(rig.pipeline.Uninit(), 0);
  std::string log =
      "LOG_HUMANBODYSEG: Fail to predict in thread and ret value = 2\n"
      "LOG_HUMANBODYSEG: Exception in thread = the engine is on fire\n"
      "LOG_HUMANBODYSEG: Exception in thread!\n";
  if (kBlurs) log += "LOG_HUMANBODYSEG: Fail to postprocess in thread and ret value = 2\n";
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), log);
}

TYPED_TEST(Faults, UninitAtAnyMomentEndsTheThreadsAndAllowsANewStart) {
  for (int fed = 0; fed < 5; ++fed) {
    Rig<TypeParam> rig([](int) {
      std::this_thread::sleep_for(std::chrono::milliseconds(15));
      return kNetworkOk;
    });
    for (int round = 0; round < 2; ++round) {
      for (int i = 0; i < fed; ++i) ASSERT_EQ(rig.Feed(static_cast<uint32_t>(i)), 0);
      auto done = std::async(std::launch::async, [&rig] { return rig.pipeline.Uninit(); });
      ASSERT_EQ(done.wait_for(std::chrono::seconds(20)), std::future_status::ready) << fed;
      EXPECT_EQ(done.get(), 0);
      if (rig.pipeline.networks.empty()) rig.pipeline.networks.push_back(rig.network);
    }
  }
}

TYPED_TEST(Faults, UninitReleasesACallerThatWaits) {
  std::promise<void> predicting, finish;
  Rig<TypeParam> rig([&, told = false](int) mutable {
    if (!std::exchange(told, true)) {
      predicting.set_value();
      finish.get_future().wait();
    }
    return kNetworkOk;
  });
  for (int i = 0; i < kLateness<TypeParam>; ++i) ASSERT_EQ(rig.Feed(static_cast<uint32_t>(i)), 0);
  predicting.get_future().wait();
  auto caller = std::async(std::launch::async, [&rig] { return rig.Feed(9); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // most likely waiting by now; right either way
  auto uninit = std::async(std::launch::async, [&rig] { return rig.pipeline.Uninit(); });
  EXPECT_EQ(caller.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  EXPECT_EQ(caller.get(), kNetworkFailed);
  finish.set_value();
  EXPECT_EQ(uninit.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  EXPECT_EQ(uninit.get(), 0);
}

TYPED_TEST(Faults, WithoutAWorkerNetworkAFrameIsRefused) {
  TypeParam pipeline;
  Frame frame = Frame::Noise(kWidth, kHeight, 1);
  FrameParams params;
  Image mask = Gray(128, 128, 7);
  EXPECT_EQ(pipeline.Init(), 0);
  EXPECT_EQ(pipeline.Process(frame.image(), params, mask), kNetworkFailed);
  EXPECT_EQ(pipeline.Uninit(), 0);
}

}  // namespace
}  // namespace pexo::test
