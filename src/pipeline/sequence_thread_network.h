// The pipeline of the background blur: prediction and blur on threads of their own, two frames late.
#ifndef PEXO_PIPELINE_SEQUENCE_THREAD_NETWORK_H_
#define PEXO_PIPELINE_SEQUENCE_THREAD_NETWORK_H_

#include <cstdint>

#include "pipeline/thread_pipeline.h"

namespace pexo {

// The caller's thread makes the model image, the prediction thread runs the first worker network and makes the mask,
// the blur thread composes the frame. Results come back in the order of submission.
class SequenceThreadNetwork : public ThreadPipeline {
 public:
  SequenceThreadNetwork() : ThreadPipeline(kFinished) {}
  ~SequenceThreadNetwork() override { StopThreads(); }

  // Replaces the pixels of `frame` by those of the frame of two calls before, blurred, and `output` by its mask;
  // `params` stays as it is. The first two calls leave both. 0; 2 without a worker network or when Uninit came in
  // between. Throws std::bad_alloc and std::system_error; the frame is then not submitted.
  int32_t Process(QmxImage& frame, FrameParams& params, QmxImage& output) override;

  // Also lets the worker networks go.
  int32_t Uninit() override;

  // What each thread does for one frame; answers the frame's next state.
  static uint32_t PredictFrame(Network& worker, ThreadData& entry);
  uint32_t BlurFrame(ThreadData& entry);

 private:
  void PredictThread(Network& worker);
  void BlurThread();
};

}  // namespace pexo

#endif  // PEXO_PIPELINE_SEQUENCE_THREAD_NETWORK_H_
