// SPDX-License-Identifier: Apache-2.0
#include "live/live_command.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

#include "common/command_line.h"
#include "common/failure.h"
#include "library_log.h"
#include "live/live.h"
#include "live/live_settings.h"
#include "live/settings_socket.h"
#include "model_file.h"
#include "option_values.h"

namespace pexo::live {
namespace {

constexpr const char* kLiveHelp =
    R"(Usage: portrait live [options]
  or:  portrait set NAME=VALUE

A camera for other programs, in which you stand before the background of your choice. It sleeps until a program looks,
and shows a plain card whenever there is no masked picture. It runs until Ctrl-C.

  --from CAMERA              /dev/videoN, pipewire:NODE, or a film, which is looped; default: the first camera
  --to pipewire|/dev/videoN  where programs find it: in PipeWire, as "Portrait" (default), or in a loopback device
  --background blur[:N]|grey|COLOUR|FILE
                             as for films; default: blur
  --calm NUMBER              how much masks are calmed from frame to frame, 0 to 1 (default)
  --empty show|card          what is shown when nobody is there: the background (default) or the card
  --card FILE                a picture for the card; default: plain grey
  --size WxH                 of the pictures, and the most that the camera is asked for; default 1280x720
  --fps NUMBER               as fast as the camera is asked to be; default 30
  --model auto|big|small|wide|PATH
                             as for films
  --stats                    after each use, print frames, delays and times of the stages on standard error
  --verbose                  print the library's log on standard error
  --help                     this text

While it runs, "portrait set" changes background, calm or empty: see portrait set --help.
)";

constexpr const char* kSetHelp =
    R"(Usage: portrait set NAME=VALUE

Changes a setting of the camera that "portrait live" is, while it runs.

  background=blur[:N]|grey|COLOUR|FILE
                             as for films
  calm=NUMBER                how much masks are calmed from frame to frame, 0 to 1
  empty=show|card            what is shown when nobody is there: the background or the card
  --help                     this text

The exit status is 0, 1 when no camera runs or it refuses the value, or 2 when the command line is wrong.
)";

media::Size ParseOutputSize(const std::string& word) {
  const media::Size size = portrait::ParseSize(word);
  if (size.width % 2 != 0 || size.height % 2 != 0) throw tools::UsageError("takes even numbers, not '" + word + "'");
  return size;
}

std::string ParseTarget(const std::string& word) {
  if (word == "pipewire" || word == "PIPEWIRE") return "";
  if (word.starts_with("/dev/")) return word;
  throw tools::UsageError("takes pipewire or a device such as /dev/video10, not '" + word + "'");
}

}  // namespace

void LiveCommand(int argc, char** argv) {
  using tools::OptionKind;
  LiveOptions options;
  std::string model = "auto";
  bool is_help = false, is_verbose = false;
  const auto option = [](const char* name, auto& target, auto parse) {
    return tools::Option{name, OptionKind::kValue, [&target, parse](const std::string& word) { target = parse(word); }};
  };
  const auto word = [](const std::string& value) {
    if (value.empty()) throw tools::UsageError("takes no empty word");
    return value;
  };
  const tools::Option table[] = {
      option("from", options.from, word),
      option("to", options.to, ParseTarget),
      option("background", options.background, ParseLiveBackground),
      option("calm", options.compositor.calm,
             [](const std::string& value) { return portrait::ParseNumber(value, 0, 1); }),
      option("empty", options.shows_empty, ParseEmpty),
      option("card", options.card, word),
      option("size", options.size, ParseOutputSize),
      option(
          "fps", options.frames_per_second,
          [](const std::string& value) { return static_cast<int>(std::lround(portrait::ParseNumber(value, 1, 240))); }),
      option("model", model, word),
      tools::FlagOption("stats", options.statistics),
      tools::FlagOption("verbose", is_verbose),
      {"help", OptionKind::kLast, [&is_help](const std::string&) { is_help = true; }},
  };
  const std::vector<std::string> words = tools::ParseCommandLine(argc, argv, table);
  if (is_help) {
    std::fputs(kLiveHelp, stdout);
    return;
  }
  if (!words.empty()) throw tools::UsageError("live takes no '" + words[0] + "'");
  portrait::SetLibraryLogPrinted(is_verbose);
  options.compositor.model = portrait::FindModel(model, options.size);
  options.compositor.has_worker = false;  // one frame is in at a time
  RunLive(options);
}

void SetCommand(int argc, char** argv) {
  bool is_help = false;
  const tools::Option table[] = {
      {"help", tools::OptionKind::kLast, [&is_help](const std::string&) { is_help = true; }}};
  const std::vector<std::string> words = tools::ParseCommandLine(argc, argv, table);
  if (is_help) {
    std::fputs(kSetHelp, stdout);
    return;
  }
  if (words.size() != 1) throw tools::UsageError("set takes one NAME=VALUE");
  std::string line = words[0];
  LiveSettings settings{};
  settings.Set(line);
  // The camera runs in another folder.
  if (const auto* file = std::get_if<portrait::BackgroundFile>(&settings.background)) {
    line = "background=" + std::filesystem::absolute(file->path).string();
  }
  const std::string answer = AskSettingsSocket(SettingsSocketPath(), line);
  if (answer != "ok") throw tools::Failure(answer);
}

}  // namespace pexo::live
