// SPDX-License-Identifier: Apache-2.0
// The pipeline of the background blur: prediction and blur on threads of their own, two frames late.
#ifndef PEXO_PIPELINE_SEQUENCE_THREAD_NETWORK_H_
#define PEXO_PIPELINE_SEQUENCE_THREAD_NETWORK_H_

#include <cstddef>
#include <cstdint>
#include <functional>

#include "blur/background_blur.h"
#include "pipeline/thread_pipeline.h"

namespace pexo {

// The caller's thread makes the model image, the prediction thread runs the first worker network and makes the mask,
// the blur thread composes the frame. Results come back in the order of submission.
class SequenceThreadNetwork : public ThreadPipeline {
 public:
  SequenceThreadNetwork() : ThreadPipeline(kFinished, max_in_flight) {}
  ~SequenceThreadNetwork() override { StopThreads(); }

  // Replaces the pixels of `frame` by those of the frame of two calls before, blurred, and `output` by its mask;
  // `params` stays as it is. The first two calls leave both. A frame whose prediction or decoding fails or throws comes
  // back as it was, with a mask of 255; one without a person, or whose blur fails, as it was with its own mask. 0; 2
  // without a worker network. Throws std::bad_alloc and std::system_error; the frame is then not submitted.
  int32_t Process(QmxImage& frame, FrameParams& params, QmxImage& output) override;

  // Also lets the worker networks go.
  int32_t Uninit() override;

  // Each thread's work on one frame; answers the frame's next state.
  static uint32_t PredictFrame(Network& worker, ThreadData& entry);
  uint32_t BlurFrame(ThreadData& entry);

  // What composes a frame, on the blur thread; false or an exception leaves the frame sharp. Not to be changed while
  // threads run.
  std::function<bool(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float blur_strength)> blur =
      TryComposeBackgroundBlur;

  // One for each thread.
  static constexpr size_t max_in_flight = 2;
};

}  // namespace pexo

#endif  // PEXO_PIPELINE_SEQUENCE_THREAD_NETWORK_H_
