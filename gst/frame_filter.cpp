// SPDX-License-Identifier: Apache-2.0
#include "frame_filter.h"

#include <exception>
#include <utility>
#include <variant>

#include "common/failure.h"
#include "portrait/model_file.h"
#include "video_frame.h"

namespace pexo::gst {
namespace {

std::unique_ptr<portrait::MovingBackground> OpenBackground(const std::string& word) {
  try {
    const portrait::BackgroundChoice choice = portrait::ParseBackground(word);
    if (std::holds_alternative<compositor::Transparent>(choice)) {
      throw SettingsError("the background cannot be none: these formats have no transparency");
    }
    return std::make_unique<portrait::MovingBackground>(choice, 0);
  } catch (const tools::UsageError& error) {
    throw SettingsError(std::string("the background ") + error.what());
  } catch (const tools::Failure& error) {
    throw SettingsError(error.what());
  }
}

compositor::Model FindModel(const std::string& word, int width, int height) {
  try {
    return portrait::FindModel(word, {width, height});
  } catch (const tools::Failure& error) {
    throw SettingsError(error.what());
  }
}

}  // namespace

void FrameFilter::Render(const Settings& settings, const GstVideoFrame& input, const GstVideoFrame& output,
                         std::optional<double> seconds) {
  const EvenFrame source(input, true), target(output, false);
  Apply(settings, input.info.width, input.info.height);
  if (seconds) {
    if (!first_seconds_) first_seconds_ = seconds;
    const compositor::Background* next = background_->At(*seconds - *first_seconds_);
    if (next != nullptr) compositor_->SetBackground(*next);
  }
  compositor_->Process(AsConst(source.view()), target.view());
  target.Store();
}

void FrameFilter::Reset() {
  if (compositor_ != nullptr) compositor_->Reset();
}

void FrameFilter::Apply(const Settings& settings, int width, int height) {
  const bool is_first = compositor_ == nullptr;
  if (is_first || settings.background != applied_->background) ApplyBackground(settings.background);
  if (is_first || settings.model != applied_->model || settings.calm != applied_->calm || width != width_ ||
      height != height_) {
    const compositor::Model model = FindModel(settings.model, width, height);
    if (is_first || model.path != model_path_ || settings.calm != applied_->calm) {
      try {
        // No worker: only one frame is in flight.
        compositor_ = std::make_unique<compositor::Compositor>(compositor::Options{
            .model = model, .background = background_->first(), .calm = settings.calm, .has_worker = false});
      } catch (const compositor::Error&) {
        throw SettingsError(portrait::ModelFailure(model.path, "").what());
      }
      model_path_ = model.path;
    }
  }
  width_ = width;
  height_ = height;
  applied_ = settings;
}

void FrameFilter::ApplyBackground(const std::string& word) {
  try {
    background_ = OpenBackground(word);
  } catch (const SettingsError& error) {
    if (compositor_ == nullptr) throw;
    return warn_(error.what());
  }
  first_seconds_.reset();
  if (compositor_ != nullptr) compositor_->SetBackground(background_->first());
}

}  // namespace pexo::gst
