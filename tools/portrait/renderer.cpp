// SPDX-License-Identifier: Apache-2.0
#include "renderer.h"

#include <new>
#include <utility>

#include "common/failure.h"
#include "library_log.h"
#include "model_file.h"

namespace pexo::portrait {
Renderer::Renderer(const EffectSettings& settings, const std::string& model_path)
    : effect_(settings.effect), handle_(pexoHumanBodySegCreate()) {
  if (handle_ == nullptr) throw std::bad_alloc();
  const std::pair<int32_t, const void*> parameters[] = {
      {PARAM_EFFECT_MODE, &settings.effect},      {PARAM_MODEL_PATH, model_path.c_str()},
      {PARAM_ROTATION, &settings.rotation},       {PARAM_CAMERA_DIRECTION, &settings.camera_direction},
      {PARAM_LAYOUT_MODE, &settings.layout_mode},
  };
  for (const auto& [key, value] : parameters) {
    const int32_t status = pexoHumanBodySegSetParam(handle_.get(), key, value);
    if (status != HUMANBODYSEG_OK) {
      throw tools::Failure("parameter " + std::to_string(key) + " was refused with status " + std::to_string(status));
    }
  }
  const int32_t status = pexoHumanBodySegInit(handle_.get());
  if (status != HUMANBODYSEG_OK) {
    pexoHumanBodySegUninit(handle_.get());
    throw ModelFailure(model_path, " (status " + std::to_string(status) + ")");
  }
  // The library would take pictures of another shape, turned, for rows of the shape that they had.
  const std::optional<ModelInput> input = LastModelInput();
  if (settings.rotation % 180 != 0 && input && input->width != input->height) {
    pexoHumanBodySegUninit(handle_.get());
    throw tools::Failure(model_path + ": this network takes pictures of " + std::to_string(input->width) + "x" +
                         std::to_string(input->height) + ", and effects need a square one for a turn of " +
                         std::to_string(settings.rotation) + " degrees: --model big or --model small");
  }
}

Renderer::~Renderer() {
  pexoHumanBodySegUninit(handle_.get());
}

void Renderer::Process(CameraFrame& frame) {
  QmxImage image = frame.Descriptor();
  const int32_t status = pexoHumanBodySegProcess(handle_.get(), &image, nullptr);
  if (status != HUMANBODYSEG_OK) {
    throw tools::Failure("the picture cannot be processed (status " + std::to_string(status) + ")");
  }
  // What comes back then is the room.
  const std::string failure = TakeFailure();
  if (!failure.empty()) throw tools::Failure("the picture cannot be processed (" + failure + ")");
}

CameraFrame Renderer::Render(const CameraFrame& picture) {
  CameraFrame frame = picture;
  Process(frame);
  for (int call = 0; call < FramesLate(); ++call) {
    frame = picture;
    Process(frame);
  }
  return frame;
}

int Renderer::FramesLate() const {
  switch (effect_) {
    case HUMANBODYSEG_EFFECT_COLOUR:
      return HUMANBODYSEG_COLOUR_CALLS_LATE;
    case HUMANBODYSEG_EFFECT_BLUR:
      return HUMANBODYSEG_BLUR_CALLS_LATE;
    default:
      return HUMANBODYSEG_MASK_CALLS_LATE;
  }
}

int ColumnMultiple(int32_t effect) {
  return effect == HUMANBODYSEG_EFFECT_COLOUR ? HUMANBODYSEG_COLOUR_WIDTH_MULTIPLE : 2;
}

}  // namespace pexo::portrait
