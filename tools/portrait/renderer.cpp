#include "renderer.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "failure.h"

namespace pexo::portrait {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxModelPath = 127;

// Points standard error at nothing for its lifetime.
class SilencedStandardError {
 public:
  SilencedStandardError() : saved_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    const int nothing = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (saved_ >= 0 && nothing >= 0) ::dup2(nothing, STDERR_FILENO);
    if (nothing >= 0) ::close(nothing);
  }
  SilencedStandardError(const SilencedStandardError&) = delete;
  SilencedStandardError& operator=(const SilencedStandardError&) = delete;
  ~SilencedStandardError() {
    if (saved_ < 0) return;
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
  }

 private:
  int saved_;
};

std::string ModelPath(const std::string& model) {
  std::string path = model;
  if (model == "big" || model == "small") {
    const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path() / "models";
    const fs::path file = folder / (model == "big" ? "MoviePortraitBig.dlc" : "MoviePortraitSmall.dlc");
    path = file.string();
    if (path.size() > kMaxModelPath) path = fs::proximate(file).string();
  }
  if (path.size() > kMaxModelPath) {
    throw Failure(path + ": the model's path is longer than " + std::to_string(kMaxModelPath) + " characters");
  }
  std::error_code error;
  if (fs::is_directory(path, error)) throw Failure(path + ": the model is a folder");
  if (::access(path.c_str(), R_OK) != 0) throw Failure(path + ": the model cannot be read: " + std::strerror(errno));
  return path;
}

int FramesLate(int32_t effect) {
  switch (effect) {
    case HUMANBODYSEG_EFFECT_COLOUR:
      return 1;
    case HUMANBODYSEG_EFFECT_BLUR:
      return 2;
    default:
      return 0;
  }
}

}  // namespace

Renderer::Renderer(const Options& options) : effect_(options.effect) {
  const std::string model = ModelPath(options.model);
  {
    // The log level belongs to the library's process-wide state, but needs a handle to be set, and both calls log.
    std::optional<SilencedStandardError> silence;
    if (options.quiet) silence.emplace();
    handle_.reset(pexoHumanBodySegCreate());
    if (options.quiet && handle_ != nullptr) pexoHumanBodySegSetLogLevel(handle_.get(), 0);
  }
  if (handle_ == nullptr) throw std::bad_alloc();
  const std::pair<int32_t, const void*> parameters[] = {
      {PARAM_EFFECT_MODE, &options.effect},      {PARAM_MODEL_PATH, model.c_str()},
      {PARAM_ROTATION, &options.rotation},       {PARAM_CAMERA_DIRECTION, &options.camera_direction},
      {PARAM_LAYOUT_MODE, &options.layout_mode},
  };
  for (const auto& [key, value] : parameters) {
    const int32_t status = pexoHumanBodySegSetParam(handle_.get(), key, value);
    if (status != HUMANBODYSEG_OK) {
      throw Failure("parameter " + std::to_string(key) + " was refused with status " + std::to_string(status));
    }
  }
  const int32_t status = pexoHumanBodySegInit(handle_.get());
  if (status != HUMANBODYSEG_OK) {
    pexoHumanBodySegUninit(handle_.get());
    throw Failure(model + ": the model cannot be loaded (status " + std::to_string(status) + ")");
  }
}

Renderer::~Renderer() {
  if (handle_ != nullptr) pexoHumanBodySegUninit(handle_.get());
}

CameraFrame Renderer::Render(const CameraFrame& picture) {
  for (int call = 0;; ++call) {
    CameraFrame frame = picture;
    QmxImage image = frame.Descriptor();
    const int32_t status = pexoHumanBodySegProcess(handle_.get(), &image, nullptr);
    if (status != HUMANBODYSEG_OK) {
      throw Failure("the picture cannot be processed (status " + std::to_string(status) + ")");
    }
    if (call == FramesLate(effect_)) return frame;
  }
}

}  // namespace pexo::portrait
