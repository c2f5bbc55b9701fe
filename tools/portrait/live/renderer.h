// SPDX-License-Identifier: Apache-2.0
// From a camera's frame to the picture that may be shown.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_RENDERER_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_RENDERER_H_

#include <functional>
#include <string>
#include <utility>

#include <pexo/compositor/compositor.h>

#include "live/picture.h"
#include "media/film_frames.h"
#include "media/frame_converter.h"

namespace pexo::live {

struct Finished {
  Picture picture;
  bool has_person = false;
  double convert_seconds = 0;  // to the output's size and pixel format
  double segment_seconds = 0;
  double compose_seconds = 0;
};

// The background from now on, or null while it stays as it was; at first never null. It holds until there is another.
using BackgroundFeed = std::function<const compositor::Background*(Time now)>;

// One thread at a time.
class Renderer {
 public:
  // `size`: of the pictures, even. The background is `feed`'s. Throws compositor::Error.
  Renderer(const compositor::Options& options, media::Size size, BackgroundFeed feed);

  // `feed` is asked from its start. Another calm loads the model again: throws compositor::Error.
  void Change(double calm, BackgroundFeed feed);

  // Frames of another shape are fitted in, between black bars. Throws whatever goes wrong; nothing of the frame is left
  // then, and the next one starts afresh.
  Finished Render(const CameraFrame& frame);

 private:
  compositor::Options options_;
  media::Size size_;
  BackgroundFeed feed_;
  const compositor::Background* next_background_ = nullptr;  // the feed's; until it has been set
  compositor::Compositor compositor_;
  media::FrameConverter converter_;
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_RENDERER_H_
