// SPDX-License-Identifier: Apache-2.0
// The pipeline of colour retention: prediction beside the caller's work, one frame late.
#ifndef PEXO_PIPELINE_MULTIPLY_THREAD_NETWORK_H_
#define PEXO_PIPELINE_MULTIPLY_THREAD_NETWORK_H_

#include <cstddef>
#include <cstdint>

#include "pipeline/thread_pipeline.h"

namespace pexo {

// One prediction thread a worker network. The caller's thread makes the model image of the new frame while the frame
// before is predicted, then takes that frame back, submits the new one, and shapes the mask.
class MultiplyThreadNetwork : public ThreadPipeline {
 public:
  MultiplyThreadNetwork() : ThreadPipeline(kPredicted, max_in_flight) {}
  ~MultiplyThreadNetwork() override { StopThreads(); }

  // Replaces the pixels of `frame` by those of the frame before, and `output` and the fraction by its mask, turned by
  // the rotation of `params`. The first call keeps the frame and fills the output with 255. A frame whose prediction or
  // decoding fails or throws has a mask of 255 and the fraction 1. 0; 2 without a worker network. Throws std::bad_alloc
  // and std::system_error; the frame is then not submitted.
  int32_t Process(QmxImage& frame, FrameParams& params, QmxImage& output) override;

  // A prediction thread's work on one frame; answers the frame's next state.
  static uint32_t PredictFrame(Network& worker, ThreadData& entry);

  // The engine holds one frame's mask, so a second frame in flight would overwrite it.
  static constexpr size_t max_in_flight = 1;
};

}  // namespace pexo

#endif  // PEXO_PIPELINE_MULTIPLY_THREAD_NETWORK_H_
