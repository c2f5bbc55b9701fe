// SPDX-License-Identifier: Apache-2.0
// Films with another background.
#ifndef PEXO_TOOLS_PORTRAIT_FILM_BACKGROUND_H_
#define PEXO_TOOLS_PORTRAIT_FILM_BACKGROUND_H_

#include <deque>
#include <optional>

#include <pexo/compositor/compositor.h>

#include "background_choice.h"
#include "film_renderer.h"
#include "film_statistics.h"

namespace pexo::portrait {

class FilmBackground : public FilmRenderer {
 public:
  // `options` without the background. Throws tools::Failure.
  FilmBackground(compositor::Options options, const BackgroundChoice& choice, bool wants_mask,
                 FilmStatistics& statistics);

  void Render(media::AvFrame frame, const Take& take) override;

 private:
  void Finish(const Take& take);

  struct Inside {
    media::AvFrame frame;   // as it came
    media::AvFrame padded;  // as the compositor has it
  };

  MovingBackground background_;
  bool is_transparent_;
  bool wants_mask_;
  FilmStatistics& statistics_;
  compositor::Compositor compositor_;
  std::deque<Inside> inside_;
  std::optional<int64_t> first_time_;
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_FILM_BACKGROUND_H_
