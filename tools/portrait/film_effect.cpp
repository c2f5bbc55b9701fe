// SPDX-License-Identifier: Apache-2.0
#include "film_effect.h"

#include <new>
#include <utility>

#include "frame_conversion.h"

namespace pexo::portrait {
namespace {

// With the properties of the frame that it was.
media::AvFrame FromCamera(CameraFrame& camera, const AVFrame& original) {
  media::AvFrame frame = FrameFromCamera(camera);
  if (av_frame_copy_props(frame.get(), &original) < 0) throw std::bad_alloc();
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
  CopyToCamera(*last_, *camera_frame_);
  const StageTimes::Clock clock;
  renderer_.Process(*camera_frame_);
  times_.Add(clock.Seconds());
  if (++calls_ <= renderer_.FramesLate()) return;
  take({FromCamera(*camera_frame_, *inside_.front()), nullptr});
  inside_.pop_front();
}

}  // namespace pexo::portrait
