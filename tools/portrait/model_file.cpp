// SPDX-License-Identifier: Apache-2.0
#include "model_file.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <pexo/humanbodyseg.h>

#include "common/failure.h"
#include "library_log.h"

namespace pexo::portrait {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxPath = HUMANBODYSEG_MODEL_PATH_MAX;

struct Known {
  const char* word;
  const char* file;
  media::Size size;
};
constexpr Known kKnown[] = {{"big", "MoviePortraitBig.dlc", {256, 256}},
                            {"small", "MoviePortraitSmall.dlc", {256, 256}},
                            {"wide", "MoviePortraitSmallWide.dlc", {256, 144}}};

// The folder of the program, or of the plugin that this is linked into.
fs::path OwnFolder() {
  static const char anchor = 0;
  Dl_info info;
  void* object = nullptr;
  if (::dladdr1(&anchor, &info, &object, RTLD_DL_LINKMAP) != 0) {
    const char* name = static_cast<const link_map*>(object)->l_name;
    if (name[0] != '\0') return fs::canonical(name).parent_path();  // a program's own name is empty
  }
  return fs::read_symlink("/proc/self/exe").parent_path();
}

// A file of ours. In a build folder models/ lies beside the program, which is one above the plugin; installed, in the
// data folder of the prefix, which is one above the program and two or three above the plugin.
fs::path FindFile(const char* name) {
  const fs::path own = OwnFolder();
  for (const fs::path& folder : {own, own.parent_path()}) {
    if (fs::exists(folder / "models" / name)) return folder / "models" / name;
  }
  for (fs::path prefix = own; prefix.has_relative_path(); prefix = prefix.parent_path()) {
    const fs::path file = prefix.parent_path() / PEXO_INSTALLED_MODELS / name;
    if (fs::exists(file)) return file;
  }
  throw tools::Failure(std::string(name) + ": no such model in " + (own / "models").string() + ", nor in " +
                       PEXO_INSTALLED_MODELS " of " + own.parent_path().string() + " or of a folder above");
}

compositor::Model Locate(const std::string& word) {
  for (const Known& known : kKnown) {
    if (word != known.word) continue;
    const fs::path file = FindFile(known.file);
    return {file.native().size() <= kMaxPath ? file : fs::proximate(file), known.size.width, known.size.height};
  }
  // The input's size is only in the container; a good guess costs nothing, as the library scales what does not fit.
  const bool is_wide = fs::path(word).filename().string().find("Wide") != std::string::npos;
  const media::Size size = is_wide ? media::Size{256, 144} : media::Size{256, 256};
  return {word, size.width, size.height};
}

}  // namespace

compositor::Model FindModel(const std::string& word, media::Size upright) {
  const bool is_wide = compositor::PrefersLandscapeModel(upright.width, upright.height);
  compositor::Model model = Locate(word != "auto" ? word : is_wide ? "wide" : "small");
  const std::string& path = model.path;
  if (path.size() > kMaxPath) {
    throw tools::Failure(path + ": the model's path is longer than " + std::to_string(kMaxPath) + " characters");
  }
  if (::access(path.c_str(), R_OK) != 0) {
    throw tools::Failure(path + ": the model cannot be read: " + std::strerror(errno));
  }
  // Opening a named pipe would wait for somebody to write to it.
  if (!fs::is_regular_file(path)) throw tools::Failure(path + ": the model is not a regular file");
  return model;
}

tools::Failure ModelFailure(const std::string& path, const std::string& status) {
  std::string reason = EngineReason();
  if (reason.starts_with(path + ": ")) reason.erase(0, path.size() + 2);
  return tools::Failure(path + ": the model cannot be loaded" + status + (reason.empty() ? "" : ": " + reason));
}

}  // namespace pexo::portrait
