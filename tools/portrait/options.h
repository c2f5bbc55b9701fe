#ifndef PEXO_TOOLS_PORTRAIT_OPTIONS_H_
#define PEXO_TOOLS_PORTRAIT_OPTIONS_H_

#include <cstdint>
#include <string>

#include <pexo/humanbodyseg.h>

namespace pexo::portrait {

enum class Action { kRender, kHelp, kVersion };

struct Options {
  Action action = Action::kRender;
  int32_t effect = HUMANBODYSEG_EFFECT_BLUR;
  std::string model = "big";  // "big", "small" or a path
  uint32_t rotation = 0;
  int32_t camera_direction = 0;
  uint32_t layout_mode = 0;
  bool quiet = false;
  std::string input;
  std::string output;
};

// Throws UsageError.
Options ParseOptions(int argc, char** argv);

const char* HelpText();

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_OPTIONS_H_
