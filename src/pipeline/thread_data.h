// SPDX-License-Identifier: Apache-2.0
// One frame in flight in a pipeline.
#ifndef PEXO_PIPELINE_THREAD_DATA_H_
#define PEXO_PIPELINE_THREAD_DATA_H_

#include <cstdint>

#include "common/library_image.h"
#include "network/network.h"

namespace pexo {

// States. A frame is handed back from the last one of its pipeline.
inline constexpr uint32_t kSubmitted = 0;
inline constexpr uint32_t kPredicted = 1;
inline constexpr uint32_t kFinished = 2;
inline constexpr uint32_t kInWork = 3;  // a worker is on it

// Made by the caller's thread, then handed from thread to thread by its `state`, which changes under the mutex of the
// frames in flight: only the thread whose turn it is touches the rest.
struct ThreadData {
  // Makes the two images, for a frame and an output of these sizes. A plane 0 of null: there is no memory.
  ThreadData(const QmxImage& frame_size, const QmxImage& output_size)
      : frame(qmxImageCreate(frame_size.width, frame_size.height, kFormatNv21)),
        mask(qmxImageCreate(output_size.width, output_size.height, kFormatGray8)) {}

  // The pixels to hand back.
  [[nodiscard]] const QmxImage& picture() const {
    if (composed) return composite;
    return frame;
  }

  uint32_t state = kSubmitted;
  bool has_mask = false;      // the model found one for this frame: in the engine, or in `mask` once it is read
  bool composed = false;      // `composite` holds the frame with its background blurred
  FrameParams params;         // the caller's at submission
  Image model_image;          // the model's input made from this frame
  LibraryImage frame;         // NV21 copy of the caller's frame
  LibraryImage mask;          // GRAY8 of the caller's output size; not used by the colour pipeline
  Image composite;            // made for the first blur of this record
  float elapsed_ms = 0;       // processing time so far
  Network* worker = nullptr;  // the network that predicted it
};

}  // namespace pexo

#endif  // PEXO_PIPELINE_THREAD_DATA_H_
