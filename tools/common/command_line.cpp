// SPDX-License-Identifier: Apache-2.0
#include "common/command_line.h"

#include <getopt.h>

namespace pexo::tools {
namespace {

constexpr int kFirstCode = 256;  // of the table's rows; anything below is a letter

void Take(const Option& option, const char* value) {
  try {
    option.take(value == nullptr ? "" : value);
  } catch (const UsageError& error) {
    throw UsageError("--" + std::string(option.name) + " " + error.what());
  }
}

}  // namespace

std::vector<std::string> ParseCommandLine(int argc, char** argv, std::span<const Option> options) {
  std::vector<option> rows;
  for (const Option& row : options) {
    rows.push_back({row.name, row.kind == OptionKind::kValue ? required_argument : no_argument, nullptr,
                    kFirstCode + static_cast<int>(rows.size())});
  }
  rows.push_back({});
  opterr = 0;  // the messages are ours
  for (;;) {
    const int code = getopt_long(argc, argv, ":", rows.data(), nullptr);
    if (code == -1) break;
    if (code == ':') throw UsageError("option '" + std::string(argv[optind - 1]) + "' needs a value");
    if (code < kFirstCode) {
      // A letter may stand in the middle of a word.
      throw UsageError("unknown option '" +
                       (optopt > 0 && optopt < kFirstCode ? std::string{'-', static_cast<char>(optopt)}
                                                          : std::string(argv[optind - 1])) +
                       "'");
    }
    const Option& row = options[static_cast<std::size_t>(code - kFirstCode)];
    Take(row, optarg);
    if (row.kind == OptionKind::kLast) return {};
  }
  return {argv + optind, argv + argc};
}

std::pair<std::string, std::string> InputAndOutput(const std::vector<std::string>& words) {
  if (words.size() < 2) throw UsageError("an input and an output file are needed");
  if (words.size() > 2) throw UsageError("one input and one output file only");
  return {words[0], words[1]};
}

Option FlagOption(const char* name, bool& target) {
  return {name, OptionKind::kFlag, [&target](const std::string&) { target = true; }};
}

}  // namespace pexo::tools
