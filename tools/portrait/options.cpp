#include "options.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <tuple>

extern "C" {
#include <libavutil/parseutils.h>
}

#include "common/command_line.h"

namespace pexo::portrait {

namespace {

constexpr int kMostSize = 32766;  // the image library's scaler's

double ParseNumber(const std::string& word, double least, double most) {
  double value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size() || !(value >= least && value <= most)) {
    char range[64];
    std::snprintf(range, sizeof range, "takes a number from %g to %g, not '", least, most);
    throw tools::UsageError(range + word + "'");
  }
  return value;
}

int64_t ParseTime(const std::string& word) {
  int64_t time = 0;
  if (av_parse_time(&time, word.c_str(), 1) < 0 || time < 0) {
    throw tools::UsageError("takes a time such as 90, 1:30 or 1:30.5, not '" + word + "'");
  }
  return time;
}

media::Size ParseSize(const std::string& word) {
  media::Size size{};
  if (av_parse_video_size(&size.width, &size.height, word.c_str()) < 0 || std::min(size.width, size.height) < 2 ||
      std::max(size.width, size.height) > kMostSize) {
    throw tools::UsageError("takes a size such as 1280x720, not '" + word + "'");
  }
  return size;
}

}  // namespace

Options ParseOptions(int argc, char** argv) {
  using tools::OptionKind;
  Options options;
  const auto action_option = [&options](const char* name, Action action) {
    return tools::Option{name, OptionKind::kLast, [&options, action](const std::string&) { options.action = action; }};
  };
  const auto set_model = [&options](const std::string& model) {
    if (model.empty()) throw tools::UsageError("takes big, small or a path, not an empty word");
    options.model = model;
  };
  const tools::Option table[] = {
      tools::ChoiceOption<int32_t>("effect", options.effect.effect,
                                   {{"colour", HUMANBODYSEG_EFFECT_COLOUR},
                                    {"blur", HUMANBODYSEG_EFFECT_BLUR},
                                    {"mask", HUMANBODYSEG_EFFECT_MASK}}),
      {"model", OptionKind::kValue, set_model},
      tools::ChoiceOption<std::optional<int>>("rotate", options.rotation,
                                              {{"auto", {}}, {"0", 0}, {"90", 90}, {"180", 180}, {"270", 270}}),
      tools::ChoiceOption<int32_t>("camera", options.effect.camera_direction, {{"front", 0}, {"back", 1}}),
      tools::ChoiceOption<uint32_t>("layout", options.effect.layout_mode, {{"soft", 0}, {"hard", 1}}),
      {"format", OptionKind::kValue, [&options](const std::string& name) { options.format = name; }},
      {"codec", OptionKind::kValue, [&options](const std::string& name) { options.codec = name; }},
      {"quality", OptionKind::kValue,
       [&options](const std::string& word) { options.quality = ParseNumber(word, 0, 100); }},
      {"from", OptionKind::kValue, [&options](const std::string& word) { options.from = ParseTime(word); }},
      {"to", OptionKind::kValue, [&options](const std::string& word) { options.to = ParseTime(word); }},
      {"size", OptionKind::kValue, [&options](const std::string& word) { options.size = ParseSize(word); }},
      {"mask-out", OptionKind::kValue, [&options](const std::string& path) { options.mask_output = path; }},
      tools::FlagOption("stats", options.statistics),
      tools::FlagOption("verbose", options.verbose),
      tools::FlagOption("quiet", options.quiet),
      action_option("help", Action::kHelp),
      action_option("version", Action::kVersion),
  };
  const std::vector<std::string> files = tools::ParseCommandLine(argc, argv, table);
  if (options.action == Action::kRender) std::tie(options.input, options.output) = tools::InputAndOutput(files);
  return options;
}

const char* HelpText() {
  return R"(usage: portrait [options] INPUT OUTPUT

Finds the person in a picture or a film and renders a portrait effect. A picture is a PNG, JPEG or WebP file, and is
written as PNG or JPEG by the ending of OUTPUT (.png, .jpg, .jpeg). A film is whatever FFmpeg reads; the ending of OUTPUT
chooses the container, and sound, subtitles, chapters and the times of the frames stay as they are.

  --effect colour|blur|mask  colour: the background turns grey; blur: it is blurred (default);
                             mask: the picture shows the person's mask
  --model big|small|PATH     the model, default big; the two are looked for in models/ beside this program
  --rotate auto|0|90|180|270 turn the picture clockwise by this angle for the model to see the person upright
                             (180 flips it top to bottom); the output is not turned; auto (default): as a film says
  --camera front|back        how much of the picture a person must fill to count with --effect colour
  --layout soft|hard         soft mask edges (default), or hard ones

for films:
  --codec NAME               the encoder, or its codec: h264 (default where the container takes it), ffv1 ...
  --quality NUMBER           in the encoder's own measure: the constant rate factor of H.264 (default 18) ...
  --format NAME              the container's name, for INPUT or OUTPUT "-": a pipe (matroska, nut, yuv4mpegpipe ...)
  --from TIME, --to TIME     render this part only (seconds, or 1:30.5)
  --size WxH                 scale the film first
  --stats                    print how long the stages of a frame took

  --verbose                  print the library's log on standard error
  --quiet                    print nothing on success
  --help                     this text
  --version                  the library's version

Transparent pixels are shown on white. A JPEG file is turned upright as it asks to be. The exit status is 0, 1 when
something failed, 2 when the command line is wrong, or 130 when the film was ended early by Ctrl-C; it plays up to there.
)";
}

}  // namespace pexo::portrait
