// SPDX-License-Identifier: Apache-2.0
#include "settings.h"

#include <utility>

#include "model_file.h"

namespace pexo::portrait {
namespace {

media::Size Upright(media::Size size, int rotation) {
  if (rotation % 180 != 0) std::swap(size.width, size.height);
  return size;
}

}  // namespace

EffectSettings EffectSettingsOf(const Options& options, int rotation) {
  EffectSettings settings;
  settings.effect = options.effect.value();
  settings.rotation = static_cast<uint32_t>(rotation);
  settings.camera_direction = options.camera_direction;
  settings.layout_mode = options.layout_mode;
  return settings;
}

compositor::Options CompositorOptionsOf(const Options& options, media::Size size, int rotation, double calm) {
  compositor::Options settings;
  settings.model = FindModel(options.model.value_or("auto"), Upright(size, rotation));
  settings.edges = options.edges;
  settings.calm = options.calm.value_or(calm);
  settings.rotation = rotation;
  return settings;
}

compositor::Compositor MakeCompositor(const compositor::Options& options) {
  try {
    return compositor::Compositor(options);
  } catch (const compositor::Error&) {
    throw ModelFailure(options.model.path, "");
  }
}

std::string EffectModelOf(const Options& options, media::Size size, int rotation) {
  std::string model = options.model.value_or("big");
  if (model == "auto" && rotation % 180 != 0) model = "small";  // the library turns pictures for square networks alone
  return FindModel(model, Upright(size, rotation)).path;
}

}  // namespace pexo::portrait
