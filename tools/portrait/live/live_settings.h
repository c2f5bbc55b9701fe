// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_LIVE_SETTINGS_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_LIVE_SETTINGS_H_

#include <string>

#include "background_choice.h"

namespace pexo::live {

// What can be changed while the camera runs.
struct LiveSettings {
  portrait::BackgroundChoice background;
  double calm;
  bool shows_empty;

  // "background=...", "calm=..." or "empty=...", with values as the options take them. Throws tools::UsageError and
  // changes nothing then.
  void Set(const std::string& assignment);
};

// The values of options, with texts that go on after the option's name. Throw tools::UsageError.
portrait::BackgroundChoice ParseLiveBackground(const std::string& word);
bool ParseEmpty(const std::string& word);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_LIVE_SETTINGS_H_
