#ifndef PEXO_TOOLS_PORTRAIT_OPTIONS_H_
#define PEXO_TOOLS_PORTRAIT_OPTIONS_H_

#include <string>

#include "renderer.h"

namespace pexo::portrait {

enum class Action { kRender, kHelp, kVersion };

struct Options {
  Action action = Action::kRender;
  EffectSettings effect;
  std::string model = "big";  // "big", "small" or a path
  bool quiet = false;
  bool verbose = false;
  std::string input;
  std::string output;
};

// Throws UsageError.
Options ParseOptions(int argc, char** argv);

const char* HelpText();

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_OPTIONS_H_
