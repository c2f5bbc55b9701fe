// SPDX-License-Identifier: Apache-2.0
#include "options.h"

#include <tuple>

extern "C" {
#include <libavutil/parseutils.h>
}

#include "common/command_line.h"
#include "option_values.h"

namespace pexo::portrait {

namespace {

int64_t ParseTime(const std::string& word) {
  int64_t time = 0;
  if (av_parse_time(&time, word.c_str(), 1) < 0 || time < 0) {
    throw tools::UsageError("takes a time such as 90, 1:30 or 1:30.5, not '" + word + "'");
  }
  return time;
}

}  // namespace

Options ParseOptions(int argc, char** argv) {
  using tools::OptionKind;
  Options options;
  bool has_background = false;
  const auto option = [](const char* name, auto& target, auto parse) {
    return tools::Option{name, OptionKind::kValue, [&target, parse](const std::string& word) { target = parse(word); }};
  };
  const auto word_option = [&option](const char* name, auto& target) {
    return option(name, target, [](const std::string& word) {
      if (word.empty()) throw tools::UsageError("takes no empty word");
      return word;
    });
  };
  const auto action_option = [&options](const char* name, Action action) {
    return tools::Option{name, OptionKind::kLast, [&options, action](const std::string&) { options.action = action; }};
  };
  const auto take_background = [&](const std::string& word) {
    options.background = ParseBackground(word);
    has_background = true;
  };
  const tools::Option table[] = {
      {"background", OptionKind::kValue, take_background},
      tools::ChoiceOption<std::optional<int32_t>>("effect", options.effect,
                                                  {{"colour", HUMANBODYSEG_EFFECT_COLOUR},
                                                   {"blur", HUMANBODYSEG_EFFECT_BLUR},
                                                   {"mask", HUMANBODYSEG_EFFECT_MASK}}),
      word_option("model", options.model),
      tools::ChoiceOption<std::optional<int>>("rotate", options.rotation,
                                              {{"auto", {}}, {"0", 0}, {"90", 90}, {"180", 180}, {"270", 270}}),
      option("size", options.size, ParseSize),
      option("calm", options.calm, [](const std::string& word) { return ParseNumber(word, 0, 1); }),
      tools::ChoiceOption<compositor::Edges>(
          "edges", options.edges, {{"picture", compositor::Edges::kPicture}, {"model", compositor::Edges::kModel}}),
      word_option("mask-out", options.mask_output),
      tools::ChoiceOption<int32_t>("camera", options.camera_direction, {{"front", 0}, {"back", 1}}),
      tools::ChoiceOption<uint32_t>("layout", options.layout_mode, {{"soft", 0}, {"hard", 1}}),
      word_option("codec", options.codec),
      option("quality", options.quality, [](const std::string& word) { return ParseNumber(word, 0, 100); }),
      word_option("format", options.format),
      option("from", options.from, ParseTime),
      option("to", options.to, ParseTime),
      tools::FlagOption("stats", options.statistics),
      tools::FlagOption("verbose", options.verbose),
      tools::FlagOption("quiet", options.quiet),
      action_option("help", Action::kHelp),
      action_option("version", Action::kVersion),
  };
  const std::vector<std::string> files = tools::ParseCommandLine(argc, argv, table);
  if (options.action != Action::kRender) return options;
  std::tie(options.input, options.output) = tools::InputAndOutput(files);
  if (options.effect && has_background) throw tools::UsageError("one of --effect and --background, not both");
  if (options.effect && !options.mask_output.empty()) {
    throw tools::UsageError("--mask-out belongs to --background; --effect mask shows the mask itself");
  }
  if (options.from && options.to && *options.to <= *options.from) {
    throw tools::UsageError("--to must be later than --from");
  }
  return options;
}

const char* HelpText() {
  return R"(Usage: portrait [options] INPUT OUTPUT
  or:  portrait live [options]
  or:  portrait set NAME=VALUE

Finds the person in a picture or a film and changes what is behind. A picture is a PNG, JPEG or WebP file, and is written
as PNG or JPEG by the ending of OUTPUT (.png, .jpg, .jpeg). A film is whatever FFmpeg reads; the ending of OUTPUT chooses
the container, and sound, subtitles, chapters and the times of the frames stay as they are.

One of two kinds: --background sets the person, with clean and calm edges, before whatever you like; --effect is the
library's own rendering as cameras show it, exact to the byte.

"portrait live" is a camera for other programs, and "portrait set" changes its settings: see portrait live --help and
portrait set --help.

  --background blur[:N]|grey|none|COLOUR|FILE
                             blur (default), by N from 1 (hardly) to 100 (beyond recognition), 20 if not said;
                             grey, without colour;
                             none, transparent: .png for a picture, .webm or .mov for a film;
                             a colour, #rrggbb or a name, such as green;
                             a picture, scaled to cover, or a film, which begins again after its end
  --effect colour|blur|mask  colour: the background turns grey; blur: it is blurred; mask: the person's mask instead

  --model auto|big|small|wide|PATH
                             the network; auto (default with --background): wide for pictures of 16:10 and wider, else
                             small; big is the default with --effect, and quarter turns there need big or small. They are
                             looked for in models/ beside this program, else where they were installed
  --rotate auto|0|90|180|270
                             turn the picture clockwise by this angle for the model to see the person upright; the output
                             is not turned; auto (default): as the film says
  --size WxH                 scale the input to this size first

with --background:
  --calm 0..1                how far edges are kept from flickering; default 1 for films, 0 for pictures
  --edges picture|model      the mask follows the edges in the picture (default), or is as the model draws it
  --mask-out FILE            write the mask, too, as a grey picture or film

with --effect:
  --camera front|back        how much of the picture a person must fill to count with --effect colour
  --layout soft|hard         soft mask edges (default), or hard ones

for films:
  --codec NAME               the encoder, or its codec; H.264 by default where the container takes it
  --quality N                in the encoder's own measure; for H.264 the constant rate factor, 18 by default
  --format NAME              the container, for an INPUT or OUTPUT of "-", a pipe: matroska, nut, yuv4mpegpipe ...
  --from TIME, --to TIME     render this part only; seconds, or 1:30.5
  --stats                    print how long each stage took for a frame, and how many frames show a person

  --verbose                  print the library's log on standard error
  --quiet                    print nothing but warnings on success
  --help                     this text
  --version                  the library's version

Transparent pixels are shown on white. A JPEG file is turned upright as it asks to be. The exit status is 0, 1 when
something failed, 2 when the command line is wrong, or 130 when Ctrl-C ended a film early; the file plays up to there.
)";
}

}  // namespace pexo::portrait
