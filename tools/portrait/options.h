// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_OPTIONS_H_
#define PEXO_TOOLS_PORTRAIT_OPTIONS_H_

#include <cstdint>
#include <optional>
#include <string>

#include <pexo/compositor/compositor.h>
#include <pexo/humanbodyseg.h>

#include "background_choice.h"
#include "media/film_frames.h"

namespace pexo::portrait {

enum class Action { kRender, kHelp, kVersion };

struct Options {
  Action action = Action::kRender;
  std::string input;                 // "-": a pipe
  std::string output;                // "-": a pipe
  std::optional<int32_t> effect;     // none: the background
  BackgroundChoice background;       // blurred
  std::optional<std::string> model;  // a word or a path
  std::optional<int> rotation;       // none: as the file says
  std::optional<media::Size> size;
  // Of effects.
  int32_t camera_direction = 0;
  uint32_t layout_mode = 0;
  // Of backgrounds.
  std::optional<double> calm;
  compositor::Edges edges = compositor::Edges::kPicture;
  std::string mask_output;  // may be empty
  // Of films.
  std::string format;
  std::string codec;
  std::optional<double> quality;
  std::optional<int64_t> from;  // microseconds
  std::optional<int64_t> to;
  bool statistics = false;

  bool quiet = false;
  bool verbose = false;
};

// Throws UsageError.
Options ParseOptions(int argc, char** argv);

const char* HelpText();

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_OPTIONS_H_
