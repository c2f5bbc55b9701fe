// SPDX-License-Identifier: Apache-2.0
#include "media/frame_converter.h"

#include <algorithm>
#include <cstring>
#include <utility>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include "common/failure.h"

namespace pexo::media {
namespace {

const AVPixFmtDescriptor& Describe(const AVFrame& frame) {
  return *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
}

bool IsRgb(int pixels) {
  return (av_pix_fmt_desc_get(static_cast<AVPixelFormat>(pixels))->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

}  // namespace

bool IsRgb(const AVFrame& frame) {
  return IsRgb(frame.format);
}

bool HasAlpha(const AVFrame& frame) {
  return (Describe(frame).flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

int BitsOf(const AVFrame& frame) {
  int bits = 0;
  for (int i = 0; i < Describe(frame).nb_components; ++i) bits = std::max(bits, Describe(frame).comp[i].depth);
  return bits;
}

Levels LevelsOf(const AVFrame& frame) {
  switch (frame.format) {
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ444P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ411P:
      return Levels::kFull;
    default:
      return frame.color_range == AVCOL_RANGE_JPEG || IsRgb(frame) ? Levels::kFull : Levels::kLimited;
  }
}

AvFrame NewFrame(int width, int height, AVPixelFormat pixels) {
  AvFrame frame = Own(av_frame_alloc());
  frame->width = width;
  frame->height = height;
  frame->format = pixels;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
  return frame;
}

AvFrame FrameConverter::Convert(const AVFrame& from, AVColorSpace matrix, const FrameFormat& to) {
  const bool states_matrix =
      !IsRgb(from) && from.colorspace != AVCOL_SPC_UNSPECIFIED && from.colorspace != AVCOL_SPC_RGB;
  Prepare({from.width, from.height, from.format, LevelsOf(from), states_matrix ? from.colorspace : matrix},
          {to.width, to.height, to.pixels, to.levels, to.matrix});
  AvFrame result = NewFrame(to.width, to.height, to.pixels);
  if (av_frame_copy_props(result.get(), &from) < 0) throw std::bad_alloc();
  result->color_range = to.levels == Levels::kFull ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  result->colorspace = IsRgb(*result) ? AVCOL_SPC_RGB : to.matrix;
  if (sws_scale(scaler_.get(), from.data, from.linesize, 0, from.height, result->data, result->linesize) != to.height) {
    throw tools::Failure("the picture cannot be converted");
  }
  return result;
}

void FrameConverter::Prepare(const Setting& from, const Setting& to) {
  if (scaler_ != nullptr && from == from_ && to == to_) return;
  scaler_ = Own(sws_alloc_context());
  const int from_full = from.levels == Levels::kFull ? 1 : 0;
  const int to_full = to.levels == Levels::kFull ? 1 : 0;
  // Chroma is the mean of the pixels that it stands for. Its way back to RGB is cubic: where two rows of it are to be
  // mixed linearly, the scaler takes one of them or their mean instead, and that on some processors only.
  const int kernel = IsRgb(to.format) ? SWS_BICUBIC : SWS_AREA;
  // The ranges before sws_init_context, which otherwise settles on a copy that leaves the levels as they are.
  const std::pair<const char*, int64_t> settings[] = {
      {"srcw", from.width},
      {"srch", from.height},
      {"src_format", from.format},
      {"src_range", from_full},
      {"dstw", to.width},
      {"dsth", to.height},
      {"dst_format", to.format},
      {"dst_range", to_full},
      {"sws_flags", kernel | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT | SWS_BITEXACT},
  };
  for (const auto& [name, value] : settings) av_opt_set_int(scaler_.get(), name, value, 0);
  if (sws_init_context(scaler_.get(), nullptr, nullptr) < 0) {
    scaler_.reset();
    throw tools::Failure("pictures of this pixel format cannot be converted");
  }
  constexpr int kUnity = 1 << 16;
  sws_setColorspaceDetails(scaler_.get(), sws_getCoefficients(from.matrix), from_full, sws_getCoefficients(to.matrix),
                           to_full, 0, kUnity, kUnity);
  from_ = from;
  to_ = to;
}

void CopyAndPad(const PlaneView& from, const PlaneView& to, int unit_bytes) {
  for (int y = 0; y < to.rows; ++y) {
    uint8_t* row = to.data + static_cast<std::ptrdiff_t>(y) * to.stride;
    const uint8_t* source = from.data + static_cast<std::ptrdiff_t>(std::min(y, from.rows - 1)) * from.stride;
    std::memcpy(row, source, static_cast<std::size_t>(from.columns) * unit_bytes);
    for (int x = from.columns; x < to.columns; ++x) {
      std::memcpy(row + static_cast<std::ptrdiff_t>(x) * unit_bytes,
                  source + static_cast<std::ptrdiff_t>(from.columns - 1) * unit_bytes,
                  static_cast<std::size_t>(unit_bytes));
    }
  }
}

}  // namespace pexo::media
