// Frames back to back through both pipelines: every frame comes back in order, with the mask of its own pixels.
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <random>

#include "blur/background_blur.h"
#include "pipeline/multiply_thread_network.h"
#include "pipeline/sequence_thread_network.h"
#include "tests/pipeline/encoding_network.h"

namespace pexo::test {
namespace {

#ifdef __SANITIZE_THREAD__
constexpr int kFrames = 500;
#else
constexpr int kFrames = 2000;
#endif
constexpr std::chrono::milliseconds kLongestPrediction{20};

struct Submission {
  Frame frame;
  FrameParams params;
};

// Random pixels, sizes that change now and then, and every layout and rotation, unknown ones too.
class Camera {
 public:
  Submission Next() {
    static constexpr int32_t kSizes[][2] = {{64, 48}, {96, 64}, {32, 32}, {70, 50}};
    static constexpr uint32_t kRotations[] = {0, 90, 180, 270, 45};
    if (count_ % 37 == 0) size_ = random_() % std::size(kSizes);
    ++count_;
    Submission submission{Frame::Noise(kSizes[size_][0], kSizes[size_][1], random_()), {}};
    submission.params.rotation = kRotations[random_() % std::size(kRotations)];
    submission.params.layout_mode = random_() % 2;
    return submission;
  }

 private:
  std::mt19937 random_{42};
  int count_ = 0;
  size_t size_ = 0;
};

// The frame as it comes back into a buffer of another size.
std::vector<uint8_t> InSizeOf(const Frame& buffer, const Frame& frame) {
  Frame scaled(buffer);
  ConvertImage(scaled.image(), frame.image());
  return scaled.pixels();
}

// What post-processing with `shape` makes of a frame that was pre-processed with `submitted`, on one thread.
Image MaskOnOneThread(const Submission& submitted, FrameParams& shape, int32_t width, int32_t height) {
  EncodingNetwork network;
  Image mask = Gray(width, height);
  network.PreProcess(submitted.frame.image(), submitted.params);
  network.Predict();
  network.PostProcess(shape, mask);
  return mask;
}

TEST(MultiplyThreadNetwork, EveryFrameComesBackOneCallLateWithItsOwnMask) {
  MultiplyThreadNetwork pipeline;
  pipeline.networks.push_back(std::make_shared<EncodingNetwork>(EncodingNetwork::RandomDelay(kLongestPrediction)));
  ASSERT_EQ(pipeline.Init(), 0);
  Camera camera;
  std::unique_ptr<Submission> before;
  for (int i = 0; i < kFrames; ++i) {
    auto now = std::make_unique<Submission>(camera.Next());
    Frame buffer(now->frame);
    FrameParams params = now->params;
    Image mask = Gray(buffer.image().width, buffer.image().height, 7);
    ASSERT_EQ(pipeline.Process(buffer.image(), params, mask), 0);
    if (before == nullptr) {
      EXPECT_EQ(buffer.pixels(), now->frame.pixels());
      EXPECT_EQ(Bytes(mask), Bytes(Gray(mask.width, mask.height, 255)));
      EXPECT_EQ(params.foreground_fraction, 0.0f);
    } else {
      // The mask is turned and decoded by the options of this call.
      FrameParams shape = now->params;
      const Image expected = MaskOnOneThread(*before, shape, mask.width, mask.height);
      ASSERT_EQ(buffer.pixels(), InSizeOf(now->frame, before->frame)) << "frame " << i;
      ASSERT_EQ(Bytes(mask), Bytes(expected)) << "frame " << i;
      ASSERT_EQ(params.foreground_fraction, shape.foreground_fraction) << "frame " << i;
      ASSERT_GT(pipeline.GetExecuteTime(), 0.0f);
    }
    before = std::move(now);
  }
  EXPECT_EQ(pipeline.Uninit(), 0);
}

TEST(SequenceThreadNetwork, EveryFrameComesBackTwoCallsLateBlurredByItsOwnMask) {
  constexpr int32_t kMaskSize = 128;
  SequenceThreadNetwork pipeline;
  pipeline.networks.push_back(std::make_shared<EncodingNetwork>(EncodingNetwork::RandomDelay(kLongestPrediction)));
  ASSERT_EQ(pipeline.Init(), 0);
  Camera camera;
  std::deque<Submission> in_flight;
  for (int i = 0; i < kFrames; ++i) {
    in_flight.push_back(camera.Next());
    const Submission& now = in_flight.back();
    Frame buffer(now.frame);
    FrameParams params = now.params;
    Image mask = Gray(kMaskSize, kMaskSize, 7);
    ASSERT_EQ(pipeline.Process(buffer.image(), params, mask), 0);
    if (in_flight.size() < 3) {
      EXPECT_EQ(buffer.pixels(), now.frame.pixels());
      EXPECT_EQ(Bytes(mask), Bytes(Gray(kMaskSize, kMaskSize, 7)));
      continue;
    }
    Submission& submitted = in_flight.front();
    const Image expected_mask = MaskOnOneThread(submitted, submitted.params, kMaskSize, kMaskSize);
    ASSERT_GE(submitted.params.foreground_fraction, 0.05f);
    Frame expected(submitted.frame.image().width, submitted.frame.image().height);
    ComposeBackgroundBlur(submitted.frame.image(), expected.image(), expected_mask, 1.5f);
    ASSERT_EQ(buffer.pixels(), InSizeOf(now.frame, expected)) << "frame " << i;
    ASSERT_EQ(Bytes(mask), Bytes(expected_mask)) << "frame " << i;
    ASSERT_EQ(params.foreground_fraction, 0.0f);
    in_flight.pop_front();
  }
  EXPECT_EQ(pipeline.Uninit(), 0);
}

TEST(SequenceThreadNetwork, FrameWithoutAnybodyComesBackSharpAndLeavesTheExecuteTime) {
  SequenceThreadNetwork pipeline;
  pipeline.networks.push_back(std::make_shared<EncodingNetwork>());
  const Frame dark(64, 48);  // all zero: an empty mask
  for (int i = 0; i < 5; ++i) {
    Frame buffer(dark);
    buffer.pixels()[5] = static_cast<uint8_t>(10 + i);
    FrameParams params;
    Image mask = Gray(128, 128, 7);
    ASSERT_EQ(pipeline.Process(buffer.image(), params, mask), 0);
    if (i < 2) continue;
    EXPECT_EQ(buffer.pixels()[5], 10 + i - 2);
    EXPECT_EQ(Bytes(mask), Bytes(Gray(128, 128)));
  }
  EXPECT_EQ(pipeline.GetExecuteTime(), 0.0f);
  EXPECT_EQ(pipeline.Uninit(), 0);
}

// Only the first of several workers feeds the sequence; with several prediction threads a frame still belongs to one.
TEST(Pipelines, SeveralWorkersKeepFramesApart) {
  MultiplyThreadNetwork multiply;
  SequenceThreadNetwork sequence;
  for (int i = 0; i < 3; ++i) {
    multiply.networks.push_back(std::make_shared<EncodingNetwork>());
    sequence.networks.push_back(std::make_shared<EncodingNetwork>());
  }
  const auto second = std::static_pointer_cast<EncodingNetwork>(sequence.networks[1]);
  std::unique_ptr<Submission> before;
  for (uint32_t i = 0; i < 100; ++i) {
    auto now = std::make_unique<Submission>(Submission{Frame::Noise(64, 48, i), {}});
    Frame buffer(now->frame);
    FrameParams params;
    Image mask = Gray(64, 48);
    ASSERT_EQ(multiply.Process(buffer.image(), params, mask), 0);
    if (before != nullptr) {
      FrameParams shape;
      ASSERT_EQ(buffer.pixels(), before->frame.pixels());
      ASSERT_EQ(Bytes(mask), Bytes(MaskOnOneThread(*before, shape, 64, 48)));
    }
    before = std::move(now);
    ASSERT_EQ(sequence.Process(buffer.image(), params, mask), 0);
  }
  EXPECT_EQ(second->predictions, 0);
  EXPECT_EQ(multiply.Uninit(), 0);
  EXPECT_EQ(sequence.Uninit(), 0);
}

}  // namespace
}  // namespace pexo::test
