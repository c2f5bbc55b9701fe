#include "model_file.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>

#include <unistd.h>

#include <pexo/humanbodyseg.h>

#include "common/failure.h"

namespace pexo::portrait {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxPath = HUMANBODYSEG_MODEL_PATH_MAX;

std::string PathOf(const std::string& model) {
  if (model != "big" && model != "small") return model;
  const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path() / "models";
  const fs::path file = folder / (model == "big" ? "MoviePortraitBig.dlc" : "MoviePortraitSmall.dlc");
  return file.native().size() <= kMaxPath ? file : fs::proximate(file);
}

}  // namespace

std::string FindModel(const std::string& model) {
  const std::string path = PathOf(model);
  if (path.size() > kMaxPath) {
    throw tools::Failure(path + ": the model's path is longer than " + std::to_string(kMaxPath) + " characters");
  }
  if (::access(path.c_str(), R_OK) != 0) {
    throw tools::Failure(path + ": the model cannot be read: " + std::strerror(errno));
  }
  // Opening a named pipe would wait for somebody to write to it.
  if (!fs::is_regular_file(path)) throw tools::Failure(path + ": the model is not a regular file");
  return path;
}

}  // namespace pexo::portrait
