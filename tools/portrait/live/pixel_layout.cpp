// SPDX-License-Identifier: Apache-2.0
#include "live/pixel_layout.h"

#include <libyuv.h>

namespace pexo::live {

int RowBytes(PixelLayout layout, media::Size size) {
  return layout == PixelLayout::kYuy2 ? 2 * size.width : size.width;
}

size_t PictureBytes(PixelLayout layout, media::Size size) {
  const size_t pixels = static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
  return layout == PixelLayout::kYuy2 ? 2 * pixels : pixels * 3 / 2;
}

void WritePixels(const AVFrame& frame, PixelLayout layout, uint8_t* out) {
  const int width = frame.width, height = frame.height;
  const ptrdiff_t luma = static_cast<ptrdiff_t>(width) * height;
  const auto* const* from = frame.data;
  const int* stride = frame.linesize;
  switch (layout) {
    case PixelLayout::kNv12:
      libyuv::I420ToNV12(from[0], stride[0], from[1], stride[1], from[2], stride[2], out, width, out + luma, width,
                         width, height);
      break;
    case PixelLayout::kI420:
      libyuv::I420Copy(from[0], stride[0], from[1], stride[1], from[2], stride[2], out, width, out + luma, width / 2,
                       out + luma + luma / 4, width / 2, width, height);
      break;
    case PixelLayout::kYuy2:
      libyuv::I420ToYUY2(from[0], stride[0], from[1], stride[1], from[2], stride[2], out, 2 * width, width, height);
      break;
  }
}

}  // namespace pexo::live
