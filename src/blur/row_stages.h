// Filters as chains of row producers: each stage makes its next rows when the stage below asks for them and keeps only
// the few that can still be asked for, so a whole chain works on a strip that stays in the cache.
//
// Row(y) of every stage returns row y, valid until the stage has made as many further rows as its ring holds. Rows are
// asked for in ascending order, apart from looking back inside the ring.
#ifndef PEXO_BLUR_ROW_STAGES_H_
#define PEXO_BLUR_ROW_STAGES_H_

#include <algorithm>
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
  [[nodiscard]] const uint8_t* Row(int y) const { return data_ + static_cast<ptrdiff_t>(y) * step_; }

 private:
  const uint8_t* data_;
  ptrdiff_t step_;
};

// The last `depth` rows of a stage.
class RowRing {
 public:
  RowRing(Scratch* scratch, int depth, int width)
      : memory_(scratch->Take(static_cast<size_t>(depth) * static_cast<size_t>(width))), depth_(depth), step_(width) {}
  // A whole plane: no row is ever given up.
  explicit RowRing(const ImageBuffer& plane)
      : memory_(plane.data), depth_(static_cast<int>(plane.rows)), step_(static_cast<ptrdiff_t>(plane.step)) {}

  [[nodiscard]] uint8_t* Slot(int y) const { return memory_ + static_cast<ptrdiff_t>(y % depth_) * step_; }

 private:
  uint8_t* memory_;
  int depth_;
  ptrdiff_t step_;
};

// 4x4 means of a plane, `width` of them in a row.
class Downsample4Rows {
 public:
  Downsample4Rows(Scratch* scratch, PlaneRows source, int source_step, int width, int depth)
      : source_(source), source_step_(source_step), width_(width), ring_(scratch, depth, width) {}

  const uint8_t* Row(int y) {
    for (; made_ <= y; ++made_) {
      Kernels().downsample4(ring_.Slot(made_), source_.Row(4 * made_), source_step_, width_);
    }
    return ring_.Slot(y);
  }

 private:
  PlaneRows source_;
  ptrdiff_t source_step_;
  int width_;
  RowRing ring_;
  int made_ = 0;
};

// How many rows a box filter's source must keep.
inline int BoxSourceDepth(int radius, int height) {
  return std::min(2 * radius + 2, std::max(height, 1));
}

// A box filter's rows. Radius 0 passes the source through.
template <typename Source>
class BoxRows {
 public:
  BoxRows(Scratch* scratch, Source* source, int width, int height, int radius, RowRing ring)
      : source_(source),
        radius_(radius),
        sums_(scratch->Take(BoxSums::WorkBytes(width, radius)), width, height, radius),
        ring_(ring) {}

  const uint8_t* Row(int y) {
    if (radius_ == 0) {
      return source_->Row(y);
    }
    for (; made_ <= y; ++made_) {
      const auto source_row = [this](int row) { return source_->Row(row); };
      if (made_ == 0) {
        sums_.Start(0, source_row);
      } else {
        sums_.Advance(source_row);
      }
      sums_.Emit(ring_.Slot(made_));
    }
    return ring_.Slot(y);
  }

 private:
  Source* source_;
  int radius_;
  BoxSums sums_;
  RowRing ring_;
  int made_ = 0;
};

// Rows of twice the size, from width x height source pixels, for a plane of full_width x any number of rows: what the
// doubling does not reach repeats the nearest pixel that it does. Its source must keep two rows; it keeps two pairs.
template <typename Source>
class Upsample2Rows {
 public:
  Upsample2Rows(Scratch* scratch, Source* source, int width, int height, int full_width)
      : source_(source), width_(width), height_(height), full_width_(full_width), ring_(scratch, 4, full_width) {}

  const uint8_t* Row(int y) {
    y = std::min(y, 2 * height_ - 1);
    for (; made_ <= y; made_ += 2) {
      const int source_y = made_ / 2;
      uint8_t* upper = ring_.Slot(made_);
      uint8_t* lower = ring_.Slot(made_ + 1);
      // The row below first: asking for it may make the source's ring move on.
      const uint8_t* below = source_->Row(std::min(source_y + 1, height_ - 1));
      Kernels().upsample2(upper, lower, source_->Row(source_y), below, width_);
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

  Source* source_;
  int width_;
  int height_;
  int full_width_;
  RowRing ring_;
  int made_ = 0;
};

}  // namespace pexo

#endif  // PEXO_BLUR_ROW_STAGES_H_
