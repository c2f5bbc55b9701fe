#include "options.h"

#include <tuple>

#include "common/command_line.h"

namespace pexo::portrait {

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
      tools::ChoiceOption<uint32_t>("rotate", options.effect.rotation,
                                    {{"0", 0}, {"90", 90}, {"180", 180}, {"270", 270}}),
      tools::ChoiceOption<int32_t>("camera", options.effect.camera_direction, {{"front", 0}, {"back", 1}}),
      tools::ChoiceOption<uint32_t>("layout", options.effect.layout_mode, {{"soft", 0}, {"hard", 1}}),
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

Finds the person in a picture and renders a portrait effect. INPUT is a PNG, JPEG or WebP file; OUTPUT is written as PNG
or JPEG by its ending (.png, .jpg, .jpeg).

  --effect colour|blur|mask  colour: the background turns grey; blur: it is blurred (default);
                             mask: the picture shows the person's mask
  --model big|small|PATH     the model, default big; the two are looked for in models/ beside this program
  --rotate 0|90|180|270      turn the picture clockwise by this angle for the model to see the person upright
                             (180 flips it top to bottom); the output is not turned
  --camera front|back        how much of the picture a person must fill to count with --effect colour
  --layout soft|hard         soft mask edges (default), or hard ones
  --verbose                  print the library's log on standard error
  --quiet                    print nothing on success
  --help                     this text
  --version                  the library's version

Transparent pixels are shown on white. A JPEG file is turned upright as it asks to be. The exit status is 0, 1 when
something failed, or 2 when the command line is wrong.
)";
}

}  // namespace pexo::portrait
