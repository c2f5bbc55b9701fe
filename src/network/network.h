// SPDX-License-Identifier: Apache-2.0
// The abstract segmentation engine and the frame path that all engines share.
#ifndef PEXO_NETWORK_NETWORK_H_
#define PEXO_NETWORK_NETWORK_H_

#include <qmx/qmx_image.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "network/image.h"

namespace pexo {

// Status codes of network operations. Stages treat only positive values as failures.
inline constexpr int32_t kNetworkOk = 0;
inline constexpr int32_t kNetworkFailed = 2;

// The options of one frame, and what the network has found in it.
struct FrameParams {
  uint32_t rotation = 0;          // degrees that turn the frame upright: 0, 90, 180, 270; others turn nothing
  uint32_t layout_mode = 0;       // 0 soft mask, 1 hard mask at input size
  float foreground_fraction = 0;  // written by post-processing: share of mask pixels at or above 128, 0..1
  int32_t effect_mode = 0;
};

// One engine: `Init`, then any number of `Process` calls, then `Uninit`. Not locked: one thread at a time, except where
// a pipeline orders the calls itself. Operations throw std::bad_alloc and nothing else of their own.
class Network {
 public:
  Network() = default;
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;
  virtual ~Network() = default;

  // Prepares the engine.
  virtual int32_t Init() { return kNetworkOk; }

  // Releases what Init and the frames made.
  virtual int32_t Uninit() = 0;

  // Runs one NV21 frame: writes the mask into `output` (GRAY8, 0 background to 255 person, scaled to its size) and
  // `params.foreground_fraction`. Returns the first positive status of its stages.
  virtual int32_t Process(QmxImage& frame, FrameParams& params, QmxImage& output);

  // Runs the model on what SetInput was given.
  virtual int32_t Predict() = 0;

  // Milliseconds of the last complete frame. May be called from any thread.
  virtual float GetExecuteTime() { return execute_time; }

  // Takes the model image: RGB888, input_width x input_height, tightly packed.
  virtual int32_t SetInput(const QmxImage& /*image*/) { return kNetworkOk; }

  // Decodes the last output of the model into plane 0 of `image`, GRAY8: input size in layout mode 1, otherwise output
  // size. Reads the field `layout_mode`.
  virtual int32_t GetOutput(QmxImage& /*image*/) { return kNetworkOk; }

  // Pre-processing and its two halves: make the model image, then take it with the frame's options. MakeModelImage
  // reads only the input geometry, so it may run beside Predict and PostProcess of an earlier frame.
  int32_t PreProcess(const QmxImage& frame, const FrameParams& params);
  [[nodiscard]] Image MakeModelImage(const QmxImage& frame, const FrameParams& params) const;
  int32_t TakeModelImage(const Image& model_image, const FrameParams& params);

  // Post-processing and its two halves: read the mask from the engine, then measure, turn, scale and shape it into
  // `output`. ReadMask takes `layout_mode` from the parameters and so settles both the size of the mask and the way it
  // is decoded. ShapeMask touches no engine buffer, so it may run beside Predict of a later frame; it must be given the
  // parameters that ReadMask had. PostProcess returns 2 when the engine fails, and then writes nothing.
  int32_t PostProcess(FrameParams& params, QmxImage& output);
  int32_t ReadMask(const FrameParams& params, Image& mask);
  void ShapeMask(FrameParams& params, Image& mask, QmxImage& output);

  // Geometry of the model, in pixels and channels.
  uint32_t input_height = 0;
  uint32_t input_width = 0;
  uint32_t input_channels = 0;
  uint32_t output_height = 0;
  uint32_t output_width = 0;
  uint32_t output_channels = 0;  // 1: the output is the mask itself, reshaped by the contrast table

  uint32_t layout_mode = 0;  // of the frame being read
  uint32_t effect_mode = 0;  // of the same frame; nothing here reads it

  // The logit range that the grey levels of a one-channel model stand for.
  float sigmoid_min = -1.0f;
  float sigmoid_max = 1.0f;
  std::vector<uint8_t> contrast_table;  // made for the first frame that needs it, then kept

  std::atomic<float> execute_time{0.0f};
};

}  // namespace pexo

#endif  // PEXO_NETWORK_NETWORK_H_
