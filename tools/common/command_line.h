// SPDX-License-Identifier: Apache-2.0
// One command line parser for every program: GNU's rules, a table of options.
#ifndef PEXO_TOOLS_COMMON_COMMAND_LINE_H_
#define PEXO_TOOLS_COMMON_COMMAND_LINE_H_

#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "common/failure.h"

namespace pexo::tools {

enum class OptionKind {
  kFlag,   // "--name"
  kValue,  // "--name VALUE" or "--name=VALUE"
  kLast,   // "--name"; nothing that follows on the command line matters
};

struct Option {
  const char* name;
  OptionKind kind;
  // Called with the value, or with an empty word for an option without one. It throws UsageError with a text that goes
  // on after the option's name.
  std::function<void(const std::string& value)> take;
};

// Hands every option to its row of the table, in their order, and returns the other words. Throws UsageError.
std::vector<std::string> ParseCommandLine(int argc, char** argv, std::span<const Option> options);

// Throws UsageError unless there are exactly two words.
std::pair<std::string, std::string> InputAndOutput(const std::vector<std::string>& words);

// A row for a choice of words, each with what it stands for.
template <typename Value>
Option ChoiceOption(const char* name, Value& target, std::initializer_list<std::pair<const char*, Value>> choices) {
  const auto take = [&target, table = std::vector(choices)](const std::string& word) {
    std::string known;
    for (const auto& [choice, value] : table) {
      if (word == choice) {
        target = value;
        return;
      }
      known += (known.empty() ? "" : ", ") + std::string(choice);
    }
    throw UsageError("takes one of " + known + ", not '" + word + "'");
  };
  return {name, OptionKind::kValue, take};
}

// A row for an option that sets `target` to true.
Option FlagOption(const char* name, bool& target);

}  // namespace pexo::tools

#endif  // PEXO_TOOLS_COMMON_COMMAND_LINE_H_
