#include "options.h"

#include <array>
#include <string_view>

#include <getopt.h>

#include "failure.h"

namespace pexo::portrait {
namespace {

template <typename Value>
struct Word {
  std::string_view word;
  Value value;
};

constexpr std::array kEffects{Word<int32_t>{"colour", HUMANBODYSEG_EFFECT_COLOUR},
                              Word<int32_t>{"blur", HUMANBODYSEG_EFFECT_BLUR},
                              Word<int32_t>{"mask", HUMANBODYSEG_EFFECT_MASK}};
constexpr std::array kRotations{Word<uint32_t>{"0", 0}, Word<uint32_t>{"90", 90}, Word<uint32_t>{"180", 180},
                                Word<uint32_t>{"270", 270}};
constexpr std::array kCameras{Word<int32_t>{"front", 0}, Word<int32_t>{"back", 1}};
constexpr std::array kLayouts{Word<uint32_t>{"soft", 0}, Word<uint32_t>{"hard", 1}};

template <typename Words>
auto Choose(const char* option, std::string_view argument, const Words& words) {
  std::string choices;
  for (const auto& [word, value] : words) {
    if (word == argument) return value;
    choices += (choices.empty() ? "" : ", ") + std::string(word);
  }
  throw UsageError("--" + std::string(option) + " takes one of " + choices + ", not '" + std::string(argument) + "'");
}

enum OptionCode { kEffect = 256, kModel, kRotate, kCamera, kLayout, kQuiet, kHelp, kVersion };

constexpr option kLongOptions[] = {
    {"effect", required_argument, nullptr, kEffect},
    {"model", required_argument, nullptr, kModel},
    {"rotate", required_argument, nullptr, kRotate},
    {"camera", required_argument, nullptr, kCamera},
    {"layout", required_argument, nullptr, kLayout},
    {"quiet", no_argument, nullptr, kQuiet},
    {"help", no_argument, nullptr, kHelp},
    {"version", no_argument, nullptr, kVersion},
    {nullptr, 0, nullptr, 0},
};

}  // namespace

Options ParseOptions(int argc, char** argv) {
  Options options;
  opterr = 0;  // the messages are ours
  for (;;) {
    const int code = getopt_long(argc, argv, ":", kLongOptions, nullptr);
    if (code == -1) break;
    switch (code) {
      case kEffect:
        options.effect = Choose("effect", optarg, kEffects);
        break;
      case kModel:
        options.model = optarg;
        if (options.model.empty()) throw UsageError("--model takes big, small or a path, not an empty word");
        break;
      case kRotate:
        options.rotation = Choose("rotate", optarg, kRotations);
        break;
      case kCamera:
        options.camera_direction = Choose("camera", optarg, kCameras);
        break;
      case kLayout:
        options.layout_mode = Choose("layout", optarg, kLayouts);
        break;
      case kQuiet:
        options.quiet = true;
        break;
      case kHelp:
      case kVersion:
        options.action = code == kHelp ? Action::kHelp : Action::kVersion;
        return options;
      case ':':
        throw UsageError("option '" + std::string(argv[optind - 1]) + "' needs a value");
      default:
        // A letter may stand in the middle of a word.
        throw UsageError("unknown option '" +
                         (optopt > 0 && optopt < kEffect ? std::string{'-', static_cast<char>(optopt)}
                                                         : std::string(argv[optind - 1])) +
                         "'");
    }
  }
  if (argc - optind != 2) {
    throw UsageError(argc - optind < 2 ? "an input and an output file are needed"
                                       : "one input and one output file only");
  }
  options.input = argv[optind];
  options.output = argv[optind + 1];
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
  --quiet                    print nothing on success
  --help                     this text
  --version                  the library's version

Transparent pixels are shown on white. A JPEG file is turned upright as it asks to be. The exit status is 0, 1 when
something failed, or 2 when the command line is wrong.
)";
}

}  // namespace pexo::portrait
