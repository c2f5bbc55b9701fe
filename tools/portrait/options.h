#ifndef PEXO_TOOLS_PORTRAIT_OPTIONS_H_
#define PEXO_TOOLS_PORTRAIT_OPTIONS_H_

#include <cstdint>
#include <optional>
#include <string>

#include "media/film_frames.h"
#include "renderer.h"

namespace pexo::portrait {

enum class Action { kRender, kHelp, kVersion };

struct Options {
  Action action = Action::kRender;
  EffectSettings effect;
  std::string model = "big";    // "big", "small" or a path
  std::optional<int> rotation;  // none: as the film says
  // Of films alone.
  std::string format;
  std::string codec;
  std::optional<double> quality;
  std::optional<int64_t> from;  // microseconds
  std::optional<int64_t> to;
  std::optional<media::Size> size;
  std::string mask_output;
  bool quiet = false;
  bool verbose = false;
  bool statistics = false;
  std::string input;
  std::string output;
};

// Throws UsageError.
Options ParseOptions(int argc, char** argv);

const char* HelpText();

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_OPTIONS_H_
