// SPDX-License-Identifier: Apache-2.0
#include "live/fit.h"

#include <libyuv.h>

#include <algorithm>
#include <new>

namespace pexo::live {
namespace {

constexpr uint8_t kBlack = 16;
constexpr uint8_t kNoColour = 128;

// The largest size of this shape that has room.
media::Size Fit(const AVFrame& frame, media::Size room) {
  const double scale =
      std::min(static_cast<double>(room.width) / frame.width, static_cast<double>(room.height) / frame.height);
  const auto even = [scale](int length, int most) {
    return std::clamp(static_cast<int>(length * scale / 2 + 0.5) * 2, 2, most);
  };
  return {even(frame.width, room.width), even(frame.height, room.height)};
}

// In the middle.
media::AvFrame WithBars(const AVFrame& frame, media::Size size) {
  media::AvFrame whole = PlainFrame(size, kBlack);
  whole->colorspace = frame.colorspace;
  const int left = (size.width - frame.width) / 4 * 2, top = (size.height - frame.height) / 4 * 2;
  for (int i = 0; i < 3; ++i) {
    const int step = i == 0 ? 1 : 2;
    uint8_t* to = whole->data[i] + static_cast<std::ptrdiff_t>(top / step) * whole->linesize[i] + left / step;
    libyuv::CopyPlane(frame.data[i], frame.linesize[i], to, whole->linesize[i], frame.width / step,
                      frame.height / step);
  }
  return whole;
}

// The formats of cameras that cost little, into planar 4:2:0.
media::AvFrame Unpack(const AVFrame& frame) {
  media::AvFrame planar = media::NewFrame(frame.width, frame.height, AV_PIX_FMT_YUV420P);
  if (av_frame_copy_props(planar.get(), &frame) < 0) throw std::bad_alloc();
  const auto* const* from = frame.data;
  auto* const* to = planar->data;
  const int *from_stride = frame.linesize, *to_stride = planar->linesize;
  if (frame.format == AV_PIX_FMT_YUYV422) {
    libyuv::YUY2ToI420(from[0], from_stride[0], to[0], to_stride[0], to[1], to_stride[1], to[2], to_stride[2],
                       frame.width, frame.height);
  } else {
    libyuv::NV12ToI420(from[0], from_stride[0], from[1], from_stride[1], to[0], to_stride[0], to[1], to_stride[1],
                       to[2], to_stride[2], frame.width, frame.height);
  }
  return planar;
}

}  // namespace

media::AvFrame PlainFrame(media::Size size, uint8_t luma) {
  media::AvFrame frame = media::NewFrame(size.width, size.height, AV_PIX_FMT_YUV420P);
  frame->color_range = AVCOL_RANGE_MPEG;
  libyuv::SetPlane(frame->data[0], frame->linesize[0], size.width, size.height, luma);
  for (int i = 1; i < 3; ++i) {
    libyuv::SetPlane(frame->data[i], frame->linesize[i], size.width / 2, size.height / 2, kNoColour);
  }
  return frame;
}

media::AvFrame FitFrame(const AVFrame& frame, media::Size size, media::FrameConverter& converter) {
  const media::Size inside = Fit(frame, size);
  const bool is_size = frame.width == inside.width && frame.height == inside.height;
  const bool is_limited = media::LevelsOf(frame) == media::Levels::kLimited;
  media::AvFrame fitted;
  if (is_size && is_limited && frame.format == AV_PIX_FMT_YUV420P) {
    fitted = media::Own(av_frame_clone(&frame));
  } else if (is_size && is_limited && (frame.format == AV_PIX_FMT_YUYV422 || frame.format == AV_PIX_FMT_NV12)) {
    fitted = Unpack(frame);
  } else {
    const AVColorSpace matrix = media::MatrixOf(frame);
    fitted = converter.Convert(frame, matrix,
                               {inside.width, inside.height, AV_PIX_FMT_YUV420P, media::Levels::kLimited, matrix});
  }
  fitted->color_range = AVCOL_RANGE_MPEG;
  if (inside.width == size.width && inside.height == size.height) return fitted;
  return WithBars(*fitted, size);
}

}  // namespace pexo::live
