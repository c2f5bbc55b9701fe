// SPDX-License-Identifier: Apache-2.0
// The background that the user asks for.
#ifndef PEXO_TOOLS_PORTRAIT_BACKGROUND_CHOICE_H_
#define PEXO_TOOLS_PORTRAIT_BACKGROUND_CHOICE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include <pexo/compositor/compositor.h>

#include "media/av_types.h"
#include "media/film_frames.h"
#include "media/film_reader.h"

namespace pexo::portrait {

struct BackgroundFile {
  std::string path;
};

using BackgroundChoice =
    std::variant<compositor::Blur, compositor::Grey, compositor::Colour, compositor::Transparent, BackgroundFile>;

// "blur", "blur:STRENGTH", "grey", "none", a colour as FFmpeg knows it, or a file. Throws tools::UsageError with a text
// that goes on after the option's name.
BackgroundChoice ParseBackground(const std::string& word);

// A chosen background as the frames of a film need it: a picture stays, a film goes on from frame to frame and begins
// again after its end.
class MovingBackground {
 public:
  // Opens the file, if it is one. `rotation` makes the frames upright; the background comes turned the other way.
  // Throws tools::Failure.
  MovingBackground(const BackgroundChoice& choice, int rotation);

  // The background at the start.
  const compositor::Background& first() const { return current_; }

  // The one for a frame that is shown `seconds` after the film's start, or null while it stays as it was. It holds
  // until the next call. Throws tools::Failure.
  const compositor::Background* At(double seconds);

 private:
  void OpenFilm();
  void ReadNext();
  void Show(media::AvFrame frame);

  compositor::Background current_;
  media::AvFrame shown_;  // the pixels of current_
  // Of a film:
  std::string path_;
  media::Stop never_;
  std::unique_ptr<media::FilmReader> film_;
  std::unique_ptr<media::FilmFrames> frames_;
  media::AvFrame next_;
  double next_time_ = 0;  // of next_, since the start of the first round
  double next_end_ = 0;
  std::optional<int64_t> first_time_;  // of this round
  double round_start_ = 0;
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_BACKGROUND_CHOICE_H_
