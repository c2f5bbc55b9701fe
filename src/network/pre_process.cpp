// SPDX-License-Identifier: Apache-2.0
#include "network/network.h"

namespace pexo {

int32_t Network::PreProcess(const QmxImage& frame, const FrameParams& params) {
  return TakeModelImage(MakeModelImage(frame, params), params);
}

int32_t Network::TakeModelImage(const Image& model_image, const FrameParams& params) {
  layout_mode = params.layout_mode;
  effect_mode = static_cast<uint32_t>(params.effect_mode);
  return SetInput(model_image);
}

// Resizes in NV21, so that the colour conversion only sees the small image. A frame that cannot be brought to NV21
// counts as all zero.
Image Network::MakeModelImage(const QmxImage& frame, const FrameParams& params) const {
  const auto width = static_cast<int32_t>(input_width);
  const auto height = static_cast<int32_t>(input_height);
  Image small;
  AllocImage(small, width, height, kFormatNv21);
  ConvertImage(small, frame);
  Image model_image;
  AllocImage(model_image, width, height, kFormatRgb888);
  ConvertImage(model_image, small);
  RotateImage(model_image, kFormatRgb888, static_cast<int32_t>(params.rotation));
  return model_image;
}

}  // namespace pexo
