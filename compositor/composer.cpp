// SPDX-License-Identifier: Apache-2.0
#include "composer.h"

namespace pexo::compositor {

RowPair Composer::ReadRows(int pair) {
  const Plane<uint8_t>& mask = calmer_.mask();
  return {pair,
          {mask.Row(2 * pair), mask.Row(2 * pair + 1)},
          {reader_.Luma(2 * pair, 0), reader_.Luma(2 * pair + 1, 1)},
          reader_.Chroma(pair, 0)};
}

void Composer::Compose(const ConstFrame& frame, const Segmentation& segmentation, const Frame& output) {
  reader_.Open(frame);
  backdrop_.Open(frame, rotation_);
  MakeMask(frame, segmentation);
  backdrop_.Finish();
  writer_.Open(output);
  for (int pair = 0; pair < frame.height / 2; ++pair) backdrop_.Compose(ReadRows(pair), writer_);
}

void Composer::MakeMask(const ConstFrame& frame, const Segmentation& segmentation) {
  MakeGuide(segmentation.picture, guide_);
  refiner_.Open(frame, guide_, segmentation.mask, edges_);
  calmer_.Open(guide_, frame.width, frame.height, calm_);
  refined_.Resize(frame.width, 2);
  for (int pair = 0; pair < frame.height / 2; ++pair) {
    refiner_.RowPair(pair, refined_.Row(0), refined_.Row(1));
    for (int i = 0; i < 2; ++i) calmer_.Row(2 * pair + i, refined_.Row(i));
    if (backdrop_.LooksAtPixels()) backdrop_.AddRows(ReadRows(pair));
  }
}

}  // namespace pexo::compositor
