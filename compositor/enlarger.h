// SPDX-License-Identifier: Apache-2.0
// A small plane as rows of a large one, bilinear between the centres of its pixels.
#ifndef PEXO_COMPOSITOR_ENLARGER_H_
#define PEXO_COMPOSITOR_ENLARGER_H_

#include <cstdint>
#include <vector>

#include "plane.h"
#include "row_kernels.h"

namespace pexo::compositor {

// How many pixels of the large plane one of the small plane covers.
struct Ratio {
  double x;
  double y;
};

// Stretches each small row once; a large row is then a mixture of two stretched ones.
class Enlarger {
 public:
  // Tells the sizes; keeps tables and memory while they stay.
  void Resize(int source_width, int source_height, int width, int height, Ratio ratio);

  // Starts on a plane of the source size, which has to stay until the last Row; the elements behind its rows are set.
  void Open(Plane<int16_t>& source);

  // Row y of the large plane; holds until the next call. Rows are best asked for in order.
  LerpRow Row(int y);

 private:
  const int16_t* Stretched(int source_row);

  int source_width_ = 0, source_height_ = 0, width_ = 0, height_ = 0;
  Ratio ratio_{};
  StretchTables tables_{};
  std::vector<int32_t> index_, base_;
  std::vector<uint8_t> shuffle_;
  std::vector<int16_t> fraction_;
  std::vector<int32_t> row_index_;
  std::vector<int16_t> row_fraction_;
  Plane<int16_t>* source_ = nullptr;
  Plane<int16_t> ring_;  // two stretched rows, even source rows in the first
  int held_[2] = {-1, -1};
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_ENLARGER_H_
