// SPDX-License-Identifier: Apache-2.0
#include "media/film_frames.h"

#include <libyuv.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "common/failure.h"

namespace pexo::media {
namespace {

constexpr int kMinHdHeight = 720;

int RoundUp(int value, int multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

void RefuseHdr(const AVFrame& frame) {
  const char* name = frame.color_trc == AVCOL_TRC_SMPTE2084      ? "PQ"
                     : frame.color_trc == AVCOL_TRC_ARIB_STD_B67 ? "HLG"
                                                                 : nullptr;
  if (name == nullptr) return;
  throw tools::Failure(std::string("its pictures are of high dynamic range (") + name +
                       "), which cannot be rendered; convert the film to standard range first");
}

// Keeps the display aspect ratio when scaling.
AVRational ScaledAspect(AVRational aspect, Size from, Size to) {
  if (aspect.num <= 0 || aspect.den <= 0) aspect = {1, 1};
  const AVRational columns{from.width, to.width};
  const AVRational rows{to.height, from.height};
  return av_mul_q(aspect, av_mul_q(columns, rows));
}

}  // namespace

AVColorSpace MatrixOf(const AVFrame& frame) {
  if (frame.colorspace != AVCOL_SPC_UNSPECIFIED && frame.colorspace != AVCOL_SPC_RGB) return frame.colorspace;
  return std::min(frame.width, frame.height) >= kMinHdHeight ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

int StoredRotation(const AVStream& video) {
  const auto* matrix =
      reinterpret_cast<const int32_t*>(av_stream_get_side_data(&video, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
  if (matrix == nullptr) return 0;
  // Image of the y axis under the display matrix.
  const int64_t right = matrix[3];
  const int64_t down = matrix[4];
  if (std::abs(right) <= std::abs(down)) return down < 0 ? 180 : 0;
  return right < 0 ? 90 : 270;
}

AvFrame PadFrame(const AVFrame& frame, int column_multiple) {
  const int width = RoundUp(frame.width, column_multiple);
  const int height = RoundUp(frame.height, 2);
  AvFrame padded;
  if (width == frame.width && height == frame.height) {
    padded = Own(av_frame_clone(&frame));
    return padded;
  }
  padded = NewFrame(width, height, AV_PIX_FMT_YUV420P);
  if (av_frame_copy_props(padded.get(), &frame) < 0) throw std::bad_alloc();
  for (int i = 0; i < 3; ++i) {
    const int step = i == 0 ? 1 : 2;
    CopyAndPad(
        {frame.data[i], frame.linesize[i], RoundUp(frame.width, step) / step, RoundUp(frame.height, step) / step},
        {padded->data[i], padded->linesize[i], width / step, height / step}, 1);
  }
  return padded;
}

AvFrame TurnFrame(const AVFrame& frame, int degrees) {
  if (degrees == 0) return Own(av_frame_clone(&frame));
  const bool swaps = degrees % 180 != 0;
  AvFrame turned = NewFrame(swaps ? frame.height : frame.width, swaps ? frame.width : frame.height, AV_PIX_FMT_YUV420P);
  if (av_frame_copy_props(turned.get(), &frame) < 0) throw std::bad_alloc();
  if (swaps && frame.sample_aspect_ratio.num > 0) turned->sample_aspect_ratio = av_inv_q(frame.sample_aspect_ratio);
  libyuv::I420Rotate(frame.data[0], frame.linesize[0], frame.data[1], frame.linesize[1], frame.data[2],
                     frame.linesize[2], turned->data[0], turned->linesize[0], turned->data[1], turned->linesize[1],
                     turned->data[2], turned->linesize[2], frame.width, frame.height,
                     static_cast<libyuv::RotationMode>(degrees));
  return turned;
}

FilmFrames::FilmFrames(std::optional<Size> size, int turn, std::function<void(const std::string&)> tell)
    : size_(size), turn_(turn), tell_(std::move(tell)) {}

AvFrame FilmFrames::Prepare(AvFrame frame) {
  RefuseHdr(*frame);
  if (BitsOf(*frame) > 8 && !std::exchange(has_told_depth_, true)) {
    tell_("its " + std::to_string(BitsOf(*frame)) + "-bit pictures are rendered in 8 bits");
  }
  const Size before{frame->width, frame->height};
  if (!size_) size_ = before;
  const bool is_planar = frame->format == AV_PIX_FMT_YUV420P || frame->format == AV_PIX_FMT_YUVJ420P;
  if (is_planar && frame->width == size_->width && frame->height == size_->height) {
    if (frame->format == AV_PIX_FMT_YUVJ420P) frame->color_range = AVCOL_RANGE_JPEG;
    frame->format = AV_PIX_FMT_YUV420P;
  } else {
    const Levels levels = IsRgb(*frame) ? Levels::kLimited : LevelsOf(*frame);
    const AVColorSpace matrix = MatrixOf(*frame);
    const bool states_range = IsRgb(*frame) || frame->color_range != AVCOL_RANGE_UNSPECIFIED || levels == Levels::kFull;
    const bool states_matrix = IsRgb(*frame) || frame->colorspace != AVCOL_SPC_UNSPECIFIED;
    frame = converter_.Convert(*frame, matrix, {size_->width, size_->height, AV_PIX_FMT_YUV420P, levels, matrix});
    if (!states_range) frame->color_range = AVCOL_RANGE_UNSPECIFIED;
    if (!states_matrix) frame->colorspace = AVCOL_SPC_UNSPECIFIED;
    if (MatrixOf(*frame) != matrix) frame->colorspace = matrix;  // another size would be taken for another matrix
    if (before.width != size_->width || before.height != size_->height) {
      frame->sample_aspect_ratio = ScaledAspect(frame->sample_aspect_ratio, before, *size_);
    }
  }
  // Rows no longer come from one field or the other.
  if (before.height != size_->height || turn_ != 0) frame->interlaced_frame = 0;
  return TurnFrame(*frame, turn_);
}

}  // namespace pexo::media
