// SPDX-License-Identifier: Apache-2.0
// Filters as chains of row producers: each stage makes its next rows when the stage below asks for them and keeps only
// the few that can still be asked for, so a whole chain works on a strip that stays in the cache. The filters of
// plane_filters.h are chains of one stage that keep all their rows: the destination's.
//
// Row(y) of every stage returns row y, valid until the stage has made as many further rows as its ring holds. Rows are
// asked for in ascending order, apart from looking back inside the ring. A stage refers to its source, which stays
// where it is and outlives it.
#ifndef PEXO_BLUR_ROW_STAGES_H_
#define PEXO_BLUR_ROW_STAGES_H_

#include <qmx/qmx_image.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "blur/box_sums.h"
#include "blur/scratch.h"
#include "kernels/kernel_table.h"

namespace pexo {

// A plane in memory as the top of a chain.
class PlaneRows {
 public:
  PlaneRows(const uint8_t* data, int step) : data_(data), step_(step) {}
  [[nodiscard]] const uint8_t* Row(int y) const { return data_ + y * step_; }
  [[nodiscard]] ptrdiff_t step() const { return step_; }

 private:
  const uint8_t* data_;
  ptrdiff_t step_;
};

// Where a stage puts its rows: room for the last `depth` ones.
class RowRing {
 public:
  RowRing(Scratch& scratch, int depth, int width)
      : RowRing(scratch.Take(static_cast<size_t>(depth) * static_cast<size_t>(width)), depth, width) {}
  // A plane of `depth` rows gives none up.
  RowRing(uint8_t* memory, int depth, int step) : memory_(memory), depth_(depth), step_(step) {}
  explicit RowRing(const ImageBuffer& plane)
      : RowRing(plane.data, static_cast<int>(plane.rows), static_cast<int>(plane.step)) {}

  [[nodiscard]] uint8_t* Slot(int y) {
    assert(y >= 0 && depth_ > 0);
    return memory_ + y % depth_ * step_;
  }

 private:
  uint8_t* memory_;
  int depth_;
  ptrdiff_t step_;
};

// The two halves of a plane of interleaved pairs, made together; their users ask for the same rows in turn.
class SplitPairsRows {
 public:
  SplitPairsRows(PlaneRows source, int pairs, RowRing odd, RowRing even)
      : source_(source), pairs_(pairs), halves_{even, odd} {}

  // Byte 0 or 1 of the pairs of row y.
  const uint8_t* Row(int byte, int y) {
    for (; made_ <= y; ++made_) {
      Kernels().split_pairs(halves_[1].Slot(made_), halves_[0].Slot(made_), source_.Row(made_), pairs_);
    }
    return halves_[byte].Slot(y);
  }

 private:
  PlaneRows source_;
  int pairs_;
  RowRing halves_[2];
  int made_ = 0;
};

// 2x2 means, `width` of them in a row. The source must keep two rows.
template <typename Source>
class Downsample2Rows {
 public:
  Downsample2Rows(Source& source, int width, RowRing ring) : source_(source), width_(width), ring_(ring) {}

  const uint8_t* Row(int y) {
    for (; made_ <= y; ++made_) {
      const uint8_t* below = source_.Row(2 * made_ + 1);
      Kernels().downsample2(ring_.Slot(made_), source_.Row(2 * made_), below, width_);
    }
    return ring_.Slot(y);
  }

 private:
  Source& source_;
  int width_;
  RowRing ring_;
  int made_ = 0;
};

// 4x4 means of a plane, `width` of them in a row.
class Downsample4Rows {
 public:
  Downsample4Rows(PlaneRows source, int width, RowRing ring) : source_(source), width_(width), ring_(ring) {}

  const uint8_t* Row(int y) {
    for (; made_ <= y; ++made_) {
      Kernels().downsample4(ring_.Slot(made_), source_.Row(4 * made_), source_.step(), width_);
    }
    return ring_.Slot(y);
  }

 private:
  PlaneRows source_;
  int width_;
  RowRing ring_;
  int made_ = 0;
};

// How many of its rows a box filter's source must keep.
inline int BoxSourceDepth(int radius, int height) {
  return std::min(2 * radius + 2, height);
}

// A box filter's rows from `first_row` on. Radius 0 passes the source through.
template <typename Source>
class BoxRows {
 public:
  BoxRows(Scratch& scratch, Source& source, int width, int height, int radius, RowRing ring, int first_row = 0)
      : source_(source),
        radius_(radius),
        sums_(scratch.Take(BoxSums::WorkBytes(width, radius)), width, height, radius),
        ring_(ring),
        first_row_(first_row),
        made_(first_row) {}

  const uint8_t* Row(int y) {
    if (radius_ == 0) return source_.Row(y);
    const auto source_row = [this](int row) { return source_.Row(row); };
    for (; made_ <= y; ++made_) {
      if (made_ == first_row_) {
        sums_.Start(first_row_, source_row);
      } else {
        sums_.Advance(source_row);
      }
      sums_.Emit(ring_.Slot(made_));
    }
    return ring_.Slot(y);
  }

 private:
  Source& source_;
  int radius_;
  BoxSums sums_;
  RowRing ring_;
  int first_row_;
  int made_;
};

// Rows of twice the size, from width x height source pixels, for a plane of full_width x any number of rows: what the
// doubling does not reach repeats the nearest pixel that it does. The last source row is its own lower neighbour, or
// with `goes_on_below` the row after it. The source must keep two rows, the ring two pairs.
template <typename Source>
class Upsample2Rows {
 public:
  Upsample2Rows(Source& source, int width, int height, int full_width, RowRing ring, bool goes_on_below = false)
      : source_(source),
        width_(width),
        height_(height),
        full_width_(full_width),
        last_source_row_(goes_on_below ? height : height - 1),
        ring_(ring) {}

  const uint8_t* Row(int y) {
    y = std::min(y, 2 * height_ - 1);
    for (; made_ <= y; made_ += 2) {
      const int source_y = made_ / 2;
      uint8_t* upper = ring_.Slot(made_);
      uint8_t* lower = ring_.Slot(made_ + 1);
      // The row below first: asking for it may make the source's ring move on.
      const uint8_t* below = source_.Row(std::min(source_y + 1, last_source_row_));
      Kernels().upsample2(upper, lower, source_.Row(source_y), below, width_);
      RepeatLastColumn(upper);
      RepeatLastColumn(lower);
    }
    return ring_.Slot(y);
  }

 private:
  void RepeatLastColumn(uint8_t* row) const {
    const int written = 2 * width_;
    if (written < full_width_) {
      std::memset(row + written, row[written - 1], static_cast<size_t>(full_width_ - written));
    }
  }

  Source& source_;
  int width_;
  int height_;
  int full_width_;
  int last_source_row_;
  RowRing ring_;
  int made_ = 0;
};

// The end of both composites. The rows of `blurred` or of `mask` may be the output's own.
template <typename Blurred, typename Mask>
void BlendLuma(const QmxImage& frame, QmxImage& output, Blurred& blurred, Mask& mask) {
  for (int y = 0; y < frame.height; ++y) {
    const ptrdiff_t row = y;
    Kernels().blend(output.plane[0] + row * output.stride[0], blurred.Row(y), frame.plane[0] + row * frame.stride[0],
                    mask.Row(y), frame.width);
  }
}

}  // namespace pexo

#endif  // PEXO_BLUR_ROW_STAGES_H_
