// SPDX-License-Identifier: Apache-2.0
// What happens to the frames of a film.
#ifndef PEXO_TOOLS_PORTRAIT_FILM_RENDERER_H_
#define PEXO_TOOLS_PORTRAIT_FILM_RENDERER_H_

#include <functional>

#include "media/av_types.h"

namespace pexo::portrait {

struct RenderedFrame {
  media::AvFrame frame;
  media::AvFrame mask;  // grey, if the renderer makes one
};

class FilmRenderer {
 public:
  using Take = std::function<void(RenderedFrame)>;

  virtual ~FilmRenderer() = default;

  // Takes the next frame, planar 4:2:0 and as large as all others, or none at the end. Hands over what is finished: as
  // many frames as went in, in their order, with their times. Throws tools::Failure.
  virtual void Render(media::AvFrame frame, const Take& take) = 0;
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_FILM_RENDERER_H_
