// SPDX-License-Identifier: Apache-2.0
// A frame row by row, planar and padded as the row kernels want it, whatever its layout.
#ifndef PEXO_COMPOSITOR_FRAME_ROWS_H_
#define PEXO_COMPOSITOR_FRAME_ROWS_H_

#include <pexo/compositor/frame.h>

#include "plane.h"

namespace pexo::compositor {

inline constexpr bool IsInterleaved(Layout layout) {
  return layout == Layout::kNv12 || layout == Layout::kNv21;
}

// Throws std::invalid_argument: sizes that are not even and 2 to kMaxSide, a missing plane, a stride below a row.
void CheckFrame(const ConstFrame& frame);

struct ChromaRow {
  const uint8_t* u;
  const uint8_t* v;
};

// Rows to read. Those of a planar frame of a fitting width are its own; others are copied into the reader's memory and
// hold until the next call of the same function with the same `slot`.
class RowReader {
 public:
  static constexpr int kSlots = 2;

  void Open(const ConstFrame& frame);
  const uint8_t* Luma(int y, int slot);
  ChromaRow Chroma(int y, int slot);

 private:
  ConstFrame frame_;
  bool is_padded_ = false;
  Plane<uint8_t> luma_;
  Plane<uint8_t> chroma_;  // U and V of each slot
};

// Rows to write: take the places of a row, fill them, put them. One luma row and one chroma row at a time.
class RowWriter {
 public:
  struct ChromaPlaces {
    uint8_t* u;
    uint8_t* v;
  };

  void Open(const Frame& frame);
  uint8_t* Luma(int y);
  void PutLuma(int y);
  ChromaPlaces Chroma(int y);
  void PutChroma(int y);

 private:
  Frame frame_;
  bool is_padded_ = false;
  Plane<uint8_t> rows_;  // Y, U, V
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_FRAME_ROWS_H_
