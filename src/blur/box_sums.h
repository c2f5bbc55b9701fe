// SPDX-License-Identifier: Apache-2.0
// The running column sums behind every box filter of this folder: one output row at a time, top to bottom.
#ifndef PEXO_BLUR_BOX_SUMS_H_
#define PEXO_BLUR_BOX_SUMS_H_

#include <cstddef>
#include <cstdint>

#include "kernels/kernel_table.h"

namespace pexo {

// Sums of 2 * radius + 1 source rows for each column, in memory that the caller lends. Small radii keep 16-bit sums and
// run on the row kernels; larger ones keep 32-bit sums.
class BoxSums {
 public:
  // What `work` must hold.
  static size_t WorkBytes(int width, int radius) {
    return Words(width, radius) * (IsNarrow(radius) ? sizeof(uint16_t) : sizeof(uint32_t));
  }

  // radius >= 1. `work` is aligned for 32-bit words; it may be null as long as no row is asked for.
  BoxSums(void* work, int width, int height, int radius);

  // The neighbourhood of output row `y`. `row_at(int)` gives a source row; it is asked for rows in ascending order.
  template <typename RowAt>
  void Start(int y, RowAt&& row_at) {
    Clear();
    const int64_t top = int64_t{y} - radius_;
    const int64_t bottom = int64_t{y} + radius_;
    const int first = top < 0 ? 0 : static_cast<int>(top);
    const int last = bottom > height_ - 1 ? height_ - 1 : static_cast<int>(bottom);
    for (int row = first; row <= last; ++row) {
      // Rows beyond the border are the border row again.
      const int64_t repeats_above = row == 0 && top < 0 ? -top : 0;
      const int64_t repeats_below = row == height_ - 1 && bottom > row ? bottom - row : 0;
      AddRow(row_at(row), static_cast<uint32_t>(1 + repeats_above + repeats_below));
    }
    next_ = y + 1;
  }

  // Moves the neighbourhood down by one row.
  template <typename RowAt>
  void Advance(RowAt&& row_at) {
    const int64_t entering = int64_t{next_} + radius_;
    const int64_t leaving = int64_t{next_} - 1 - radius_;
    const uint8_t* entering_row = row_at(entering > height_ - 1 ? height_ - 1 : static_cast<int>(entering));
    Slide(entering_row, row_at(leaving < 0 ? 0 : static_cast<int>(leaving)));
    ++next_;
  }

  // The means for the current neighbourhood, `width` pixels.
  void Emit(uint8_t* destination);

 private:
  [[nodiscard]] static bool IsNarrow(int radius) { return radius <= kMaxNarrowBoxRadius; }
  [[nodiscard]] static size_t Words(int width, int radius) {
    return static_cast<size_t>(width) + 2 * static_cast<size_t>(radius);
  }
  void Clear();
  void AddRow(const uint8_t* row, uint32_t weight);
  void Slide(const uint8_t* entering, const uint8_t* leaving);

  uint32_t* wide_sums_;    // radius words before column 0 and after the last one repeat the border's sums
  uint16_t* narrow_sums_;  // the same in half words, in the same memory
  int width_;
  int height_;
  int radius_;
  int next_ = 0;
};

}  // namespace pexo

#endif  // PEXO_BLUR_BOX_SUMS_H_
