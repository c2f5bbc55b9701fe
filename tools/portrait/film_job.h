// SPDX-License-Identifier: Apache-2.0
// A film from its file to the next.
#ifndef PEXO_TOOLS_PORTRAIT_FILM_JOB_H_
#define PEXO_TOOLS_PORTRAIT_FILM_JOB_H_

#include <functional>
#include <memory>
#include <optional>

#include "film_renderer.h"
#include "film_statistics.h"
#include "media/film_frames.h"
#include "media/film_reader.h"
#include "media/film_writer.h"

namespace pexo::portrait {

struct FilmJob {
  media::FilmSource source;
  media::FilmTarget target;
  std::optional<media::FilmTarget> mask_target;
  std::optional<media::Size> size;  // of the pictures as they are shown; without it the film's own
  std::optional<int> rotation;      // degrees clockwise that make the person stand upright; without it as the film says
  bool is_quiet = false;
  bool shows_statistics = false;
  // For frames of this size, with the rotation that makes the person stand upright.
  std::function<std::unique_ptr<FilmRenderer>(media::Size size, int rotation, FilmStatistics& statistics)>
      make_renderer;
};

// Reads, renders and writes at the same time, in a thread each. Throws tools::UsageError, tools::Failure - also when
// the film was damaged and what could be read is written - and tools::Interrupted.
void RunFilmJob(const FilmJob& job);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_FILM_JOB_H_
