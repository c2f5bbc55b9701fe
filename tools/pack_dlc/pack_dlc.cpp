// pack-dlc: makes a model container of the host from a TensorFlow Lite model.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/bounds.h"
#include "engine/container.h"
#include "engine/error.h"
#include "engine/model.h"
#include "engine/xnn_network.h"

namespace pexo {
namespace {

constexpr char kUsage[] = "usage: pack-dlc --head two-scores|logit-grey MODEL.tflite OUT.dlc\n";

constexpr char kHelp[] =
    "\n"
    "Packs a TensorFlow Lite segmentation model into a container that the host's inference engine opens. The model "
    "maps\n"
    "one RGB picture to one channel, the probability that a pixel belongs to the person.\n"
    "\n"
    "  --head two-scores  two 8-bit scores a pixel: background, foreground\n"
    "  --head logit-grey  one 8-bit grey level a pixel, for the argument of the model's final logistic function\n"
    "  --help             this text\n"
    "\n"
    "Exit status: 0 done, 1 the model is unusable or a file cannot be read or written, 2 wrong command line.\n";

struct Arguments {
  engine::HeadKind head;
  std::string model;
  std::string output;
};

// Nothing if the command line is wrong.
std::optional<Arguments> Parse(std::span<char*> words) {
  std::optional<engine::HeadKind> head;
  std::vector<std::string> files;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string word = words[i];
    if (word == "--head" && i + 1 < words.size() && !head) {
      try {
        head = engine::HeadFromName(words[++i]);
      } catch (const engine::Error&) {
        return {};
      }
    } else if (word.starts_with("-")) {
      return {};
    } else {
      files.push_back(word);
    }
  }
  if (!head || files.size() != 2) return {};
  return Arguments{*head, files[0], files[1]};
}

// Writes beside the file first, so that nobody ever sees half a container under its name.
void WriteFile(const std::string& path, std::span<const uint8_t> bytes) {
  const std::string part = path + ".part" + std::to_string(getpid());
  const auto fail = [&](const char* what) {
    const int reason = errno;
    std::remove(part.c_str());
    engine::Fail(what, ": ", std::strerror(reason));
  };
  FILE* file = std::fopen(part.c_str(), "wbx");
  if (file == nullptr) fail("cannot be written");
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  if (const bool closed = std::fclose(file) == 0; !written || !closed) fail("cannot be written");
  if (std::rename(part.c_str(), path.c_str()) != 0) fail("cannot be replaced");
}

// Names the file that a failing step is about.
template <typename Step>
auto About(const std::string& path, Step step) {
  try {
    return step();
  } catch (const std::exception& error) {
    engine::Fail(path, ": ", error.what());
  }
}

void Pack(const Arguments& arguments) {
  const std::vector<uint8_t> packed = About(arguments.model, [&] {
    const engine::Container container =
        engine::MakeContainer(engine::ReadFile(arguments.model, engine::kMaxModelBytes), arguments.head);
    // The last judge of a model is the executor.
    engine::XnnNetwork(engine::ReadGraph(container), 1).Invoke();
    return engine::WriteContainer(container);
  });
  About(arguments.output, [&] { WriteFile(arguments.output, packed); });
}

}  // namespace
}  // namespace pexo

int main(int argc, char** argv) {
  const std::span<char*> words(argv + 1, argc > 0 ? static_cast<size_t>(argc - 1) : 0);
  for (const char* word : words) {
    if (std::strcmp(word, "--help") == 0) {
      std::fputs(pexo::kUsage, stdout);
      std::fputs(pexo::kHelp, stdout);
      return 0;
    }
  }
  const std::optional<pexo::Arguments> arguments = pexo::Parse(words);
  if (!arguments) {
    std::fputs(pexo::kUsage, stderr);
    return 2;
  }
  try {
    pexo::Pack(*arguments);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "pack-dlc: %s\n", error.what());
    return 1;
  }
  return 0;
}
