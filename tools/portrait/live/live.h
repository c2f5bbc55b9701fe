// SPDX-License-Identifier: Apache-2.0
// A virtual camera: asleep until somebody looks, and never a pixel of the room that was not masked.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_LIVE_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_LIVE_H_

#include <string>

#include <pexo/compositor/compositor.h>

#include "background_choice.h"
#include "media/film_frames.h"

namespace pexo::live {

struct LiveOptions {
  std::string from;  // as CameraSettings::name
  std::string to;    // a loopback device; empty: PipeWire
  portrait::BackgroundChoice background;
  std::string card;  // a picture file; empty: plain grey
  compositor::Options compositor;
  media::Size size{1280, 720};
  int frames_per_second = 30;
  bool shows_empty = true;
  bool statistics = false;
};

// Until SIGINT or SIGTERM; ends within a second of it, also while the camera or the engine hangs. Throws
// tools::Failure.
void RunLive(const LiveOptions& options);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_LIVE_H_
