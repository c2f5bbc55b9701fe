// SPDX-License-Identifier: Apache-2.0
#include "blur/plane_filters.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>

#include "blur/row_stages.h"
#include "blur/scratch.h"

namespace pexo {

int BoxFilter(const uint8_t* source, int width, int height, int source_step, uint8_t* destination, int destination_step,
              int radius) {
  BoxFilterRows(source, width, height, source_step, destination, destination_step, radius, 0, height);
  return 0;
}

void BoxFilterRows(const uint8_t* source, int width, int height, int source_step, uint8_t* destination,
                   int destination_step, int radius, int first, int end) {
  first = std::max(first, 0);
  end = std::min(end, height);
  if (width < 1 || first >= end) return;
  assert(height == 1 || (source_step >= width && destination_step >= width));
  const PlaneRows rows(source, source_step);
  RowRing result(destination, height, destination_step);
  if (radius < 1) {
    for (int y = first; y < end; ++y) std::memcpy(result.Slot(y), rows.Row(y), static_cast<size_t>(width));
    return;
  }
  InScratch<BoxRows<const PlaneRows>> box(rows, width, height, radius, result, first);
  if (box) box->Row(end - 1);
}

void SplitChromaPairs(uint8_t* odd, uint8_t* even, const uint8_t* source, int pairs, int rows, int source_step) {
  if (rows < 1) return;
  assert(pairs >= 0 && (rows == 1 || source_step >= 2 * pairs));
  SplitPairsRows(PlaneRows(source, source_step), pairs, RowRing(odd, rows, pairs), RowRing(even, rows, pairs))
      .Row(0, rows - 1);
}

void Downsample2x(uint8_t* destination, const uint8_t* source, int width, int height, int source_step,
                  int destination_step) {
  if (height < 2) return;
  assert(width >= 0 && source_step >= width && (height < 4 || destination_step >= width / 2));
  const PlaneRows rows(source, source_step);
  Downsample2Rows(rows, width / 2, RowRing(destination, height / 2, destination_step)).Row(height / 2 - 1);
}

void Downsample4x(uint8_t* destination, const uint8_t* source, int width, int height, int source_step,
                  int destination_step) {
  if (height < 4) return;
  assert(width >= 0 && source_step >= width && (height < 8 || destination_step >= width / 4));
  Downsample4Rows(PlaneRows(source, source_step), width / 4, RowRing(destination, height / 4, destination_step))
      .Row(height / 4 - 1);
}

void Upsample2x(uint8_t* destination, const uint8_t* source, int width, int height, int source_step,
                int destination_step, int bottom_row_flag) {
  if (height < 1) return;
  assert(width >= 1 && source_step >= width && destination_step >= 2 * width);
  const PlaneRows rows(source, source_step);
  Upsample2Rows(rows, width, height, 2 * width, RowRing(destination, 2 * height, destination_step),
                bottom_row_flag == 0)
      .Row(2 * height - 1);
}

}  // namespace pexo
