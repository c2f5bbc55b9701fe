// SPDX-License-Identifier: Apache-2.0
// How far a transparent picture keeps its colours beyond what can be seen of it.
#ifndef PEXO_COMPOSITOR_RIM_H_
#define PEXO_COMPOSITOR_RIM_H_

#include <cstdint>

#include "plane.h"

namespace pexo::compositor {

// The chroma samples, each with its 2x2 pixels, around those of which a pixel is not wholly transparent: three samples
// far, and round at the corners. So no pixel of the rim is farther than 8 from one that can be seen, and those within
// 5, on the axes 6, are in it: what scales the picture, or its chroma, mixes colours of the person.
class Rim {
 public:
  void Open(int width, int height);

  // Luma rows 2 * pair and 2 * pair + 1 of the transparency.
  void AddRows(int pair, const uint8_t* const mask[2]);

  // After the last rows, for the rows of a pair: FillBeyond then gives every byte beyond the rim this level, in a row
  // with so many bytes (luma 2, chroma 1) for a chroma sample.
  void Select(int pair);
  bool IsEmpty() const { return is_empty_; }  // all is beyond
  void FillBeyond(uint8_t level, int bytes_a_sample, uint8_t* row) const;

 private:
  Plane<uint8_t> seen_;   // 255: something of the four pixels can be seen
  Plane<uint8_t> grown_;  // row 0: of the selected pair, 255 up to the rim's end and 0 beyond
  bool is_empty_ = true;
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_RIM_H_
