// SPDX-License-Identifier: Apache-2.0
#include "video_frame.h"

#include <algorithm>
#include <cstring>

namespace pexo::gst {
namespace {

compositor::Layout LayoutOf(GstVideoFormat format) {
  switch (format) {
    case GST_VIDEO_FORMAT_NV12:
      return compositor::Layout::kNv12;
    case GST_VIDEO_FORMAT_NV21:
      return compositor::Layout::kNv21;
    case GST_VIDEO_FORMAT_YV12:
      return compositor::Layout::kYv12;
    default:
      return compositor::Layout::kI420;
  }
}

compositor::Matrix MatrixOf(GstVideoColorMatrix matrix) {
  switch (matrix) {
    case GST_VIDEO_COLOR_MATRIX_BT601:
    case GST_VIDEO_COLOR_MATRIX_FCC:
      return compositor::Matrix::kBt601;
    default:
      return compositor::Matrix::kBt709;  // nearest to all others
  }
}

// Planes lie in memory order on both sides.
compositor::Frame ViewOf(const GstVideoFrame& frame) {
  const GstVideoInfo& info = frame.info;
  compositor::Frame view;
  view.width = info.width;
  view.height = info.height;
  view.layout = LayoutOf(info.finfo->format);
  view.range =
      info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255 ? compositor::Range::kFull : compositor::Range::kLimited;
  view.matrix = MatrixOf(info.colorimetry.matrix);
  for (guint i = 0; i < info.finfo->n_planes; ++i) {
    view.plane[i] = static_cast<uint8_t*>(frame.data[i]);
    view.stride[i] = info.stride[i];
  }
  return view;
}

}  // namespace

EvenFrame::EvenFrame(const GstVideoFrame& frame, bool reads) : view_(ViewOf(frame)), frame_(view_) {
  view_.width += view_.width % 2;
  view_.height += view_.height % 2;
  if (view_.width == frame_.width && view_.height == frame_.height) return;
  luma_.resize(static_cast<size_t>(view_.width) * static_cast<size_t>(view_.height));
  view_.plane[0] = luma_.data();
  view_.stride[0] = view_.width;
  if (!reads) return;
  for (int y = 0; y < view_.height; ++y) {
    const uint8_t* source = frame_.plane[0] + frame_.stride[0] * std::min(y, frame_.height - 1);
    uint8_t* row = view_.plane[0] + view_.stride[0] * y;
    std::memcpy(row, source, static_cast<size_t>(frame_.width));
    row[view_.width - 1] = source[frame_.width - 1];
  }
}

void EvenFrame::Store() const {
  if (luma_.empty()) return;
  for (int y = 0; y < frame_.height; ++y) {
    std::memcpy(frame_.plane[0] + frame_.stride[0] * y, view_.plane[0] + view_.stride[0] * y,
                static_cast<size_t>(frame_.width));
  }
}

}  // namespace pexo::gst
