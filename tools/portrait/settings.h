// SPDX-License-Identifier: Apache-2.0
// What the options mean for pictures of a size that have to be turned upright.
#ifndef PEXO_TOOLS_PORTRAIT_SETTINGS_H_
#define PEXO_TOOLS_PORTRAIT_SETTINGS_H_

#include <pexo/compositor/compositor.h>

#include "media/film_frames.h"
#include "options.h"
#include "renderer.h"

namespace pexo::portrait {

// `rotation`: degrees clockwise that make the person stand upright.
EffectSettings EffectSettingsOf(const Options& options, int rotation);

// Without the background. `calm`: where the user says nothing. Throws tools::Failure without the model.
compositor::Options CompositorOptionsOf(const Options& options, media::Size size, int rotation, double calm);

// Loads the model. Throws tools::Failure.
compositor::Compositor MakeCompositor(const compositor::Options& options);

// The model's path for effects. Throws tools::Failure without it.
std::string EffectModelOf(const Options& options, media::Size size, int rotation);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_SETTINGS_H_
