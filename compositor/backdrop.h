// SPDX-License-Identifier: Apache-2.0
// The backgrounds: what each needs to see of a frame, and how a person is set before it.
#ifndef PEXO_COMPOSITOR_BACKDROP_H_
#define PEXO_COMPOSITOR_BACKDROP_H_

#include <pexo/compositor/compositor.h>

#include "frame_rows.h"
#include "planar_picture.h"
#include "rim.h"
#include "weighted_blur.h"

namespace pexo::compositor {

// A chroma row with the two luma rows that it belongs to, and their finished mask; all padded.
struct RowPair {
  int index;
  const uint8_t* mask[2];
  const uint8_t* luma[2];
  ChromaRow chroma;
};

class Backdrop {
 public:
  // Throws std::invalid_argument.
  void Set(const Background& background);

  // Starts on a frame that `rotation` degrees clockwise make upright. Then every row pair goes in, in order, and after
  // Finish every row pair comes out.
  void Open(const ConstFrame& frame, int rotation);
  bool LooksAtPixels() const { return kind_ == Kind::kBlur || EstimatesForeground(); }
  void AddRows(const RowPair& rows);
  void Finish();
  void Compose(const RowPair& rows, RowWriter& out);

 private:
  enum class Kind { kBlur, kGrey, kReplace, kTransparent };

  bool EstimatesForeground() const { return kind_ == Kind::kReplace || kind_ == Kind::kTransparent; }
  void ComposePlane(int plane, int y, int width, const uint8_t* pixels, const uint8_t* mask, uint8_t* out);
  const uint8_t* Row(int plane, int y) const;
  void FillFlatRows(const ConstFrame& frame, YuvColour colour);
  void CoverFrame(const ConstFrame& frame, int rotation);

  Kind kind_ = Kind::kBlur;
  double strength_ = 0;
  Colour colour_;
  bool has_picture_ = false;
  bool is_covered_ = false;  // covering_ was made from picture_
  PlanarPicture picture_;    // as it was handed over
  PlanarPicture upright_;    // scaled
  PlanarPicture covering_;   // in the frame's size, range and matrix
  Scaler scaler_;
  Plane<uint8_t> flat_[3];  // one row of a colour
  WeightedBlur blur_;
  WeightedBlur foreground_, background_;  // the colours on either side of an edge
  Rim rim_;                               // of a transparent picture
  YuvColour beyond_{};
  Plane<uint8_t> chroma_mask_, cleaned_;
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_BACKDROP_H_
