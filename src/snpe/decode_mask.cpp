// SPDX-License-Identifier: Apache-2.0
#include "snpe/decode_mask.h"

#include <cstddef>
#include <cstring>

#include "blur/plane_filters.h"
#include "kernels/kernel_table.h"
#include "network/network.h"

namespace pexo {
namespace {

void DecodeSoft(const uint8_t* scores, uint8_t* mask, int32_t pixels, float threshold) {
  const auto hi = static_cast<int32_t>(threshold * 120.0);
  const auto lo = static_cast<int32_t>(threshold * -12.0);
  if (hi < 1 || lo >= 0) return;
  Kernels().decode_soft_scores(scores, pixels, mask, lo, hi);
}

Image AllocGray(uint32_t width, uint32_t height) {
  Image image;
  AllocImage(image, static_cast<int32_t>(width), static_cast<int32_t>(height), kFormatGray8);
  return image;
}

// A score plane, doubled, moved and scaled to the model's input size.
Image ScaleScores(const Network& network, const Image& scores) {
  Image scaled = AllocGray(network.input_width, network.input_height);
  ConvertImage(scaled, DoubleAndShift(scores));
  return scaled;
}

void DecodeHard(const Network& network, const uint8_t* scores, uint8_t* mask) {
  Image background = AllocGray(network.output_width, network.output_height);
  Image foreground = AllocGray(network.output_width, network.output_height);
  SplitChromaPairs(foreground.plane[0], background.plane[0], scores, background.width, background.height,
                   2 * background.width);
  background = ScaleScores(network, background);
  foreground = ScaleScores(network, foreground);
  Kernels().compare_scores(foreground.plane[0], background.plane[0], background.width * background.height, mask);
}

}  // namespace

void DecodeMask(const Network& network, const uint8_t* scores, uint8_t* mask, float threshold) {
  const auto pixels = static_cast<int32_t>(network.output_height * network.output_width);
  if (scores == nullptr || mask == nullptr || pixels < 1) return;
  if (network.output_channels == 1) {
    std::memcpy(mask, scores, static_cast<size_t>(pixels));
  } else if (network.layout_mode == 0) {
    DecodeSoft(scores, mask, pixels, threshold);
  } else if (network.layout_mode == 1) {
    DecodeHard(network, scores, mask);
  }
}

}  // namespace pexo
