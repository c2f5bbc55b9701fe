// One frame in flight in a pipeline.
#ifndef PEXO_PIPELINE_THREAD_DATA_H_
#define PEXO_PIPELINE_THREAD_DATA_H_

#include <qmx/qmx_image.h>

#include <cstdint>

#include "network/network.h"

namespace pexo {

// Made by the caller's thread, then handed from thread to thread by its `state`: only the thread whose state it is in
// touches it, and `state` and `claimed` change under the mutex of the frames in flight.
struct ThreadData {
  ThreadData() = default;
  ThreadData(const ThreadData&) = delete;
  ThreadData& operator=(const ThreadData&) = delete;
  ~ThreadData() { FreeImages(); }

  // Frees `frame`, then `mask`; the first non-zero answer of the image library ends it and is returned.
  int32_t FreeImages();

  // Makes a record that was handed back good for another frame of the same size; its images stay.
  void Reset();

  // The pixels to hand back.
  [[nodiscard]] const QmxImage& picture() const { return composed ? composite : frame; }

  uint32_t frame_id = 0;
  uint32_t state = 0;
  bool claimed = false;   // a worker is on it
  bool failed = false;    // an exception ended its prediction: the engine holds no mask of this frame
  bool composed = false;  // `composite` holds the frame with its background blurred
  FrameParams params;     // the caller's at submission
  Image model_image;      // the model's input made from this frame
  QmxImage frame{};       // NV21 copy of the caller's frame, from the image library
  QmxImage mask{};        // GRAY8 of the caller's output size, from the image library; not used by the colour pipeline
  Image composite;        // made for the first blur of this record
  float elapsed_ms = 0;   // processing time so far
  Network* worker = nullptr;  // the network that predicted it
};

// States. A frame is handed back from the last one of its pipeline.
inline constexpr uint32_t kSubmitted = 0;
inline constexpr uint32_t kPredicted = 1;
inline constexpr uint32_t kFinished = 2;

}  // namespace pexo

#endif  // PEXO_PIPELINE_THREAD_DATA_H_
