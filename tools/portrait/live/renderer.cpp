// SPDX-License-Identifier: Apache-2.0
#include "live/renderer.h"

#include <utility>

#include "compositor_frame.h"
#include "live/fit.h"

namespace pexo::live {
namespace {

double SecondsSince(Time start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

Renderer::Renderer(const compositor::Options& options, media::Size size, BackgroundFeed feed)
    : options_(options), size_(size), feed_(std::move(feed)), compositor_(options) {}

void Renderer::Change(double calm, BackgroundFeed feed) {
  feed_ = std::move(feed);
  next_background_ = nullptr;
  if (calm == options_.calm) return;
  compositor::Options options = options_;
  options.calm = calm;
  compositor_ = compositor::Compositor(options);
  options_ = options;
}

Finished Renderer::Render(const CameraFrame& frame) {
  const Time start = Clock::now();
  const media::AvFrame fitted = FitFrame(*frame.picture, size_, converter_);
  if (const compositor::Background* background = feed_(start)) next_background_ = background;
  if (next_background_ != nullptr) compositor_.SetBackground(*next_background_);
  next_background_ = nullptr;
  media::AvFrame picture = media::NewFrame(size_.width, size_.height, AV_PIX_FMT_YUV420P);
  picture->color_range = fitted->color_range;
  picture->colorspace = fitted->colorspace;
  const double convert_seconds = SecondsSince(start);
  const compositor::Rendered rendered =
      compositor_.Process(AsConst(portrait::ViewOf(*fitted)), portrait::ViewOf(*picture));
  return {.picture = Picture(std::move(picture), frame.captured),
          .has_person = rendered.person_fraction >= portrait::kMinPerson,
          .convert_seconds = convert_seconds,
          .segment_seconds = rendered.segment_seconds,
          .compose_seconds = rendered.compose_seconds};
}

}  // namespace pexo::live
