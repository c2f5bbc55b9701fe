// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>

#include "kernels/kernel_table.h"
#include "network/contrast_table.h"
#include "network/network.h"

namespace pexo {
namespace {

size_t PixelCount(const QmxImage& image) {
  return static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
}

float ForegroundFraction(const QmxImage& mask) {
  const size_t pixels = PixelCount(mask);
  const int foreground = Kernels().count_foreground(mask.plane[0], static_cast<int>(pixels));
  return static_cast<float>(foreground) / static_cast<float>(pixels);
}

}  // namespace

int32_t Network::PostProcess(FrameParams& params, QmxImage& output) {
  Image mask;
  const int32_t status = ReadMask(params, mask);
  if (status != kNetworkOk) return status;
  ShapeMask(params, mask, output);
  return kNetworkOk;
}

int32_t Network::ReadMask(const FrameParams& params, Image& mask) {
  layout_mode = params.layout_mode;
  const bool at_input_size = layout_mode == 1;
  const uint32_t width = at_input_size ? input_width : output_width;
  const uint32_t height = at_input_size ? input_height : output_height;
  // One-channel engines write a mask of output size in either layout: the block must hold that one too.
  const uint64_t output_pixels = uint64_t{output_width} * output_height;
  const uint64_t rows = width == 0 ? 0 : std::max<uint64_t>(height, (output_pixels + width - 1) / width);
  AllocImage(mask, static_cast<int32_t>(width), static_cast<int32_t>(rows), kFormatGray8);
  mask.height = static_cast<int32_t>(height);
  return GetOutput(mask) == kNetworkOk ? kNetworkOk : kNetworkFailed;
}

void Network::ShapeMask(FrameParams& params, Image& mask, QmxImage& output) {
  params.foreground_fraction = ForegroundFraction(mask);

  // Wraps and truncates as 32-bit signed arithmetic does, whatever the rotation.
  const int32_t back = static_cast<int32_t>(360u - params.rotation) % 360;
  if (params.layout_mode == 0 && (output_height != input_height || output_width != input_width)) {
    mask = DoubleAndShift(mask);
  }
  RotateImage(mask, kFormatGray8, back);
  ConvertImage(output, mask);

  if (output_channels == 1 && output.plane[0] != nullptr) {
    if (contrast_table.empty()) contrast_table = MakeContrastTable(sigmoid_min, sigmoid_max);
    Kernels().apply_table(output.plane[0], static_cast<int>(PixelCount(output)), contrast_table.data());
  }
}

}  // namespace pexo
