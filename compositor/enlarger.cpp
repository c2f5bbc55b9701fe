// SPDX-License-Identifier: Apache-2.0
#include "enlarger.h"

#include <algorithm>
#include <cmath>

namespace pexo::compositor {
namespace {

constexpr int kBlock = 8;  // pixels that share a base

// Where pixel `x` of the large side lies: before the centre of the first small pixel and behind that of the last one
// it has their value.
void Place(int x, double ratio, int source_count, int32_t& index, int16_t& fraction) {
  const double position = std::clamp((x + 0.5) / ratio - 0.5, 0.0, source_count - 1.0);
  index = static_cast<int32_t>(position);
  fraction = static_cast<int16_t>(std::min(32767L, std::lround((position - index) * 32768)));
}

}  // namespace

void Enlarger::Resize(int source_width, int source_height, int width, int height, Ratio ratio) {
  if (source_width == source_width_ && source_height == source_height_ && width == width_ && height == height_ &&
      ratio.x == ratio_.x && ratio.y == ratio_.y) {
    return;
  }
  width_ = 0;  // should memory run out
  const auto padded = static_cast<size_t>(PaddedWidth(width));
  index_.assign(padded, 0);
  fraction_.assign(padded, 0);
  base_.assign(padded / kBlock, 0);
  shuffle_.assign(2 * padded, 0);
  bool fits = true;
  for (size_t x = 0; x < padded; ++x) {
    const int within = std::min(static_cast<int>(x), width - 1);
    Place(within, ratio.x, source_width, index_[x], fraction_[x]);
    if (x % kBlock == 0) base_[x / kBlock] = index_[x];
    const int lane = index_[x] - base_[x / kBlock];
    fits = fits && lane < kBlock;
    shuffle_[2 * x] = static_cast<uint8_t>(2 * lane);
    shuffle_[2 * x + 1] = static_cast<uint8_t>(2 * lane + 1);
  }
  row_index_.resize(static_cast<size_t>(height));
  row_fraction_.resize(static_cast<size_t>(height));
  for (int y = 0; y < height; ++y) {
    Place(y, ratio.y, source_height, row_index_[static_cast<size_t>(y)], row_fraction_[static_cast<size_t>(y)]);
  }
  tables_ = {.width = static_cast<int>(padded),
             .index = index_.data(),
             .base = fits ? base_.data() : nullptr,
             .shuffle = shuffle_.data(),
             .fraction = fraction_.data()};
  ring_.Resize(static_cast<int>(padded), 2);
  source_width_ = source_width;
  source_height_ = source_height;
  width_ = width;
  height_ = height;
  ratio_ = ratio;
}

void Enlarger::Open(Plane<int16_t>& source) {
  source_ = &source;
  held_[0] = held_[1] = -1;
}

const int16_t* Enlarger::Stretched(int source_row) {
  const int slot = source_row % 2;
  if (held_[slot] != source_row) {
    int16_t* row = source_->Row(source_row);
    row[source_width_] = row[source_width_ - 1];
    StretchRow(tables_, row, ring_.Row(slot));
    held_[slot] = source_row;
  }
  return ring_.Row(slot);
}

LerpRow Enlarger::Row(int y) {
  const int first = row_index_[static_cast<size_t>(y)];
  const int16_t fraction = row_fraction_[static_cast<size_t>(y)];
  const int16_t* from = Stretched(first);
  return {from, fraction == 0 ? from : Stretched(first + 1), fraction};
}

}  // namespace pexo::compositor
