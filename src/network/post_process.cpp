#include <cstddef>

#include "network/contrast_table.h"
#include "network/network.h"

namespace pexo {
namespace {

size_t PixelCount(const QmxImage& image) {
  return static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
}

float ForegroundFraction(const QmxImage& mask) {
  const size_t pixels = PixelCount(mask);
  size_t foreground = 0;
  for (size_t i = 0; i < pixels; ++i) foreground += mask.plane[0][i] >> 7;
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
  AllocImage(mask, static_cast<int32_t>(at_input_size ? input_width : output_width),
             static_cast<int32_t>(at_input_size ? input_height : output_height), kFormatGray8);
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
    const size_t pixels = PixelCount(output);
    for (size_t i = 0; i < pixels; ++i) output.plane[0][i] = contrast_table[output.plane[0][i]];
  }
}

}  // namespace pexo
