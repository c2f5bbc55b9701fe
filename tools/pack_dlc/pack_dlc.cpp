// SPDX-License-Identifier: Apache-2.0
// pack-dlc: makes a model container of the host from a TensorFlow Lite model.
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "common/command_line.h"
#include "common/failure.h"
#include "common/file.h"
#include "common/program.h"
#include "engine/bounds.h"
#include "engine/container.h"
#include "engine/error.h"
#include "engine/model.h"
#include "engine/xnn_network.h"

namespace pexo {
namespace {

constexpr char kHelp[] = R"(Usage: pack-dlc --head two-scores|logit-grey MODEL.tflite OUT.dlc

Packs a TensorFlow Lite segmentation model into a container that the host's inference engine opens. The model maps one
RGB picture to one channel, the probability that a pixel belongs to the person.

  --head two-scores  two 8-bit scores a pixel: background, foreground
  --head logit-grey  one 8-bit grey level a pixel, for the argument of the model's final logistic function
  --help             this text

The exit status is 0, 1 when the model cannot be used or a file not be read or written, or 2 when the command line is
wrong.
)";

// By this in a path the library knows that a model's one channel is a range of logits.
constexpr char kSmallModelName[] = "MoviePortraitSmall";

struct Arguments {
  bool help = false;
  std::optional<engine::HeadKind> head;
  std::string model;
  std::string output;
};

Arguments Parse(int argc, char** argv) {
  Arguments arguments;
  const tools::Option table[] = {
      tools::ChoiceOption<std::optional<engine::HeadKind>>(
          "head", arguments.head,
          {{"two-scores", engine::HeadKind::kTwoScores}, {"logit-grey", engine::HeadKind::kLogitGrey}}),
      {"help", tools::OptionKind::kLast, [&](const std::string&) { arguments.help = true; }},
  };
  const std::vector<std::string> files = tools::ParseCommandLine(argc, argv, table);
  if (arguments.help) return arguments;
  std::tie(arguments.model, arguments.output) = tools::InputAndOutput(files);
  if (!arguments.head) throw tools::UsageError("--head is needed");
  return arguments;
}

// The packed model. The engine's messages do not name the file.
std::vector<uint8_t> Pack(const std::string& path, engine::HeadKind head) {
  std::vector<uint8_t> model = tools::ReadFile(path, engine::kMaxModelBytes);
  try {
    const engine::Container container = engine::MakeContainer(std::move(model), head);
    // The last judge of a model is the executor.
    engine::XnnNetwork(engine::ReadGraph(container), 1).Invoke();
    return engine::WriteContainer(container);
  } catch (const engine::Error& error) {
    throw tools::Failure(path + ": " + error.what());
  }
}

void Run(int argc, char** argv) {
  const Arguments arguments = Parse(argc, argv);
  if (arguments.help) {
    std::fputs(kHelp, stdout);
    return;
  }
  tools::ReplaceFile(arguments.output, Pack(arguments.model, *arguments.head));
  if (arguments.head == engine::HeadKind::kLogitGrey && arguments.output.find(kSmallModelName) == std::string::npos) {
    std::fprintf(stderr, "pack-dlc: warning: %s: the library reads logits only under a path that contains \"%s\"\n",
                 arguments.output.c_str(), kSmallModelName);
  }
}

}  // namespace
}  // namespace pexo

int main(int argc, char** argv) {
  return pexo::tools::RunProgram("pack-dlc", [&] { pexo::Run(argc, argv); });
}
