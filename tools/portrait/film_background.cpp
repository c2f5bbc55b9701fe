// SPDX-License-Identifier: Apache-2.0
#include "film_background.h"

#include <libyuv.h>

#include <new>
#include <utility>

#include "common/failure.h"
#include "compositor_frame.h"
#include "settings.h"

namespace pexo::portrait {
namespace {

compositor::Compositor With(compositor::Options options, const compositor::Background& background) {
  options.background = background;
  return MakeCompositor(options);
}

void CopyMask(const compositor::MaskView& mask, uint8_t* out, int stride) {
  libyuv::CopyPlane(mask.pixels, static_cast<int>(mask.stride), out, stride, mask.width, mask.height);
}

// A mask as a picture: full range, no colour.
media::AvFrame PictureOf(const compositor::MaskView& mask, const AVFrame& frame) {
  constexpr uint8_t kNoColour = 128;
  media::AvFrame picture = media::NewFrame(mask.width, mask.height, AV_PIX_FMT_YUV420P);
  if (av_frame_copy_props(picture.get(), &frame) < 0) throw std::bad_alloc();
  picture->color_range = AVCOL_RANGE_JPEG;
  CopyMask(mask, picture->data[0], picture->linesize[0]);
  for (int i = 1; i < 3; ++i) {
    libyuv::SetPlane(picture->data[i], picture->linesize[i], mask.width / 2, mask.height / 2, kNoColour);
  }
  picture->width = frame.width;
  picture->height = frame.height;
  return picture;
}

}  // namespace

FilmBackground::FilmBackground(compositor::Options options, const BackgroundChoice& choice, bool wants_mask,
                               FilmStatistics& statistics)
    : background_(choice, options.rotation),
      is_transparent_(std::holds_alternative<compositor::Transparent>(choice)),
      wants_mask_(wants_mask),
      statistics_(statistics),
      compositor_(With(std::move(options), background_.first())) {}

void FilmBackground::Render(media::AvFrame frame, const Take& take) {
  const bool is_end = frame == nullptr;
  if (!is_end) {
    inside_.push_back({std::move(frame), nullptr});
    Inside& newest = inside_.back();
    newest.padded = media::PadFrame(*newest.frame, 2);
    compositor_.Begin(AsConst(ViewOf(*newest.padded)));
  }
  // The mask of the newest is computed beside the finishing of the one before.
  while (inside_.size() > (is_end ? 0 : 1)) Finish(take);
}

void FilmBackground::Finish(const Take& take) {
  const AVFrame& frame = *inside_.front().frame;
  const AVFrame& padded = *inside_.front().padded;
  if (!first_time_) first_time_ = frame.pts;
  const double seconds = static_cast<double>(frame.pts - *first_time_) * av_q2d(frame.time_base);
  if (const compositor::Background* background = background_.At(seconds)) compositor_.SetBackground(*background);
  RenderedFrame rendered;
  rendered.frame =
      media::NewFrame(padded.width, padded.height, is_transparent_ ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P);
  AVFrame& output = *rendered.frame;
  if (av_frame_copy_props(&output, &frame) < 0) throw std::bad_alloc();
  try {
    const compositor::Rendered result = compositor_.Finish(ViewOf(output));
    statistics_.segment.Add(result.segment_seconds);
    statistics_.compose.Add(result.compose_seconds);
    ++statistics_.frames_judged;
    if (result.person_fraction >= kMinPerson) ++statistics_.frames_with_person;
    if (is_transparent_) CopyMask(result.mask, output.data[3], output.linesize[3]);
    if (wants_mask_) rendered.mask = PictureOf(result.mask, frame);
  } catch (const compositor::Error& error) {
    throw tools::Failure(error.what());
  }
  output.width = frame.width;
  output.height = frame.height;
  take(std::move(rendered));
  inside_.pop_front();
}

}  // namespace pexo::portrait
