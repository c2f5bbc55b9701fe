// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_CAMERA_FRAME_H_
#define PEXO_TOOLS_PORTRAIT_CAMERA_FRAME_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include <qmx/qmx_image.h>

namespace pexo::portrait {

// A tightly packed NV21 frame in full-range BT.601, larger than the picture where the library's sizes ask for it: the
// picture is the upper left part, the rest repeats its last column and row.
class CameraFrame {
 public:
  // `column_multiple` is even.
  CameraFrame(int picture_width, int picture_height, int column_multiple);

  int picture_width() const { return picture_width_; }
  int picture_height() const { return picture_height_; }
  int width() const { return width_; }
  int height() const { return height_; }
  uint8_t* luma() { return pixels_.data(); }
  uint8_t* chroma() { return pixels_.data() + static_cast<std::size_t>(width_) * height_; }

  QmxImage Descriptor();

 private:
  int picture_width_;
  int picture_height_;
  int width_;
  int height_;
  std::vector<uint8_t> pixels_;
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_CAMERA_FRAME_H_
