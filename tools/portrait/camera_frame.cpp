// SPDX-License-Identifier: Apache-2.0
#include "camera_frame.h"

namespace pexo::portrait {
namespace {

int RoundUp(int value, int multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

}  // namespace

CameraFrame::CameraFrame(int picture_width, int picture_height, int column_multiple)
    : picture_width_(picture_width),
      picture_height_(picture_height),
      width_(RoundUp(picture_width, column_multiple)),
      height_(RoundUp(picture_height, 2)),
      pixels_(static_cast<std::size_t>(width_) * height_ * 3 / 2) {}

QmxImage CameraFrame::Descriptor() {
  QmxImage image = {};
  image.format = QMX_FORMAT_NV21;
  image.width = width_;
  image.height = height_;
  image.plane[0] = luma();
  image.plane[1] = chroma();
  image.stride[0] = image.stride[1] = width_;
  return image;
}

}  // namespace pexo::portrait
