// SPDX-License-Identifier: Apache-2.0
#include "live/live_settings.h"

#include <filesystem>
#include <system_error>
#include <variant>

#include "common/failure.h"
#include "option_values.h"

namespace pexo::live {

portrait::BackgroundChoice ParseLiveBackground(const std::string& word) {
  portrait::BackgroundChoice choice = portrait::ParseBackground(word);
  if (std::holds_alternative<compositor::Transparent>(choice)) {
    throw tools::UsageError("takes no 'none': cameras have no transparency");
  }
  const auto* file = std::get_if<portrait::BackgroundFile>(&choice);
  std::error_code ignored;
  if (file != nullptr && !std::filesystem::is_regular_file(file->path, ignored)) {
    throw tools::UsageError("takes a regular file, not '" + file->path + "'");  // others may keep the camera waiting
  }
  return choice;
}

bool ParseEmpty(const std::string& word) {
  if (word != "show" && word != "card") throw tools::UsageError("takes one of show, card, not '" + word + "'");
  return word == "show";
}

void LiveSettings::Set(const std::string& assignment) {
  const size_t end = assignment.find('=');
  const std::string name = assignment.substr(0, end);
  const std::string value = end == std::string::npos ? "" : assignment.substr(end + 1);
  try {
    if (name == "background" && end != std::string::npos) {
      background = ParseLiveBackground(value);
    } else if (name == "calm" && end != std::string::npos) {
      calm = portrait::ParseNumber(value, 0, 1);
    } else if (name == "empty" && end != std::string::npos) {
      shows_empty = ParseEmpty(value);
    } else {
      throw tools::UsageError("is no setting; there are background=, calm= and empty=");
    }
  } catch (const tools::UsageError& error) {
    throw tools::UsageError(name + " " + error.what());
  }
}

}  // namespace pexo::live
