// SPDX-License-Identifier: Apache-2.0
#include "live/camera.h"

#include <filesystem>

#include "common/failure.h"
#include "live/device_modes.h"
#include "live/output.h"
#include "live/pipewire_search.h"

namespace pexo::live {
namespace {

constexpr std::string_view kPipeWire = "pipewire:";
constexpr std::string_view kDevice = "/dev/video";
constexpr int kMaxDevices = 64;

// The first that is not `output`, and not this program's own.
std::string FirstCamera(const std::string& output) {
  for (int i = 0; i < kMaxDevices; ++i) {
    const std::string path = std::string(kDevice) + std::to_string(i);
    std::error_code ignored;
    if (path != output && !std::filesystem::equivalent(path, output, ignored) && IsCamera(path)) return path;
  }
  try {
    if (const auto node = FindPipeWireCamera(kOutputName)) return std::string(kPipeWire) + *node;
  } catch (const tools::Failure&) {  // no PipeWire
  }
  throw tools::Failure("no camera is there; name one with --from");
}

}  // namespace

std::unique_ptr<Camera> OpenCamera(const CameraSettings& settings) {
  const std::string name = settings.name.empty() ? FirstCamera(settings.output) : settings.name;
  if (name.starts_with(kPipeWire)) {
    return OpenPipeWireCamera(name.substr(kPipeWire.size()), "portrait-camera", settings.frames_per_second);
  }
  // Also a link to a device, as in /dev/v4l/by-id.
  if (name.starts_with(kDevice) || std::filesystem::is_character_file(name)) {
    return OpenDeviceCamera(name, settings.size, settings.frames_per_second);
  }
  return OpenFilmCamera(name);
}

}  // namespace pexo::live
