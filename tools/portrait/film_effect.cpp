// SPDX-License-Identifier: Apache-2.0
#include "film_effect.h"

#include <libyuv.h>

#include <new>
#include <utility>

#include "media/film_frames.h"
#include "media/frame_converter.h"

namespace pexo::portrait {
namespace {

void ToCamera(const AVFrame& padded, CameraFrame& camera) {
  libyuv::I420ToNV21(padded.data[0], padded.linesize[0], padded.data[1], padded.linesize[1], padded.data[2],
                     padded.linesize[2], camera.luma(), camera.width(), camera.chroma(), camera.width(), camera.width(),
                     camera.height());
}

// With the properties of the frame that it was.
media::AvFrame FromCamera(CameraFrame& camera, const AVFrame& original) {
  media::AvFrame frame = media::NewFrame(camera.width(), camera.height(), AV_PIX_FMT_YUV420P);
  if (av_frame_copy_props(frame.get(), &original) < 0) throw std::bad_alloc();
  libyuv::NV21ToI420(camera.luma(), camera.width(), camera.chroma(), camera.width(), frame->data[0], frame->linesize[0],
                     frame->data[1], frame->linesize[1], frame->data[2], frame->linesize[2], camera.width(),
                     camera.height());
  frame->width = original.width;
  frame->height = original.height;
  return frame;
}

}  // namespace

FilmEffect::FilmEffect(const EffectSettings& settings, const std::string& model_path, StageTimes& times)
    : renderer_(settings, model_path), column_multiple_(ColumnMultiple(settings.effect)), times_(times) {}

void FilmEffect::Render(media::AvFrame frame, const Take& take) {
  if (frame != nullptr) {
    last_ = media::PadFrame(*frame, column_multiple_);
    if (!camera_frame_) camera_frame_.emplace(last_->width, last_->height, column_multiple_);
    inside_.push_back(std::move(frame));
    Process(take);
  } else {
    while (!inside_.empty()) Process(take);
  }
}

void FilmEffect::Process(const Take& take) {
  ToCamera(*last_, *camera_frame_);
  const StageTimes::Clock clock;
  renderer_.Process(*camera_frame_);
  times_.Add(clock.Seconds());
  if (++calls_ <= renderer_.FramesLate()) return;
  take({FromCamera(*camera_frame_, *inside_.front()), nullptr});
  inside_.pop_front();
}

}  // namespace pexo::portrait
