// SPDX-License-Identifier: Apache-2.0
// Pictures of our own in three planes: scaled copies of frames, and the conversion between ranges and matrices.
#ifndef PEXO_COMPOSITOR_PLANAR_PICTURE_H_
#define PEXO_COMPOSITOR_PLANAR_PICTURE_H_

#include <pexo/compositor/frame.h>

#include "plane.h"

namespace pexo::compositor {

// YUV 4:2:0; the chroma planes have half the luma's size.
struct PlanarPicture {
  Plane<uint8_t> y;
  Plane<uint8_t> u;
  Plane<uint8_t> v;
  Range range = Range::kFull;
  Matrix matrix = Matrix::kBt601;

  void Resize(int width, int height);
};

struct Rectangle {
  int x, y, width, height;  // all even
};

// Scales pictures to the size that `out` has: every pixel is the mean of those it covers where the picture shrinks, and
// bilinear where it grows. Keeps working memory.
class Scaler {
 public:
  void Scale(const ConstFrame& frame, PlanarPicture& out);
  void Scale(const ConstFrame& frame, const Rectangle& part, PlanarPicture& out);

 private:
  Plane<uint8_t> split_;  // U above V, of frames whose chroma is interleaved
};

// The middle of a picture that has the shape of width x height.
Rectangle CoveringPart(int picture_width, int picture_height, int width, int height);

// Turns a plane clockwise by 0, 90, 180 or 270 degrees into one that has the size for it.
void Turn(const Plane<uint8_t>& source, int degrees, Plane<uint8_t>& out);

// Converts in place, rounded; chroma counts for its four luma pixels.
void ConvertColour(PlanarPicture& picture, Range range, Matrix matrix);

struct YuvColour {
  uint8_t y, u, v;
};
YuvColour YuvFromRgb(int red, int green, int blue, Range range, Matrix matrix);

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_PLANAR_PICTURE_H_
