// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_CAMERA_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_CAMERA_H_

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "live/picture.h"
#include "media/film_frames.h"

namespace pexo::live {

// Open as long as it lives. One thread.
class Camera {
 public:
  virtual ~Camera() = default;

  // The next frame, or none if there is none within `patience`. Throws tools::Failure when the camera is gone.
  virtual std::optional<CameraFrame> Read(std::chrono::milliseconds patience) = 0;
};

struct CameraSettings {
  std::string name;  // "/dev/videoN", "pipewire:NODE" or a film; empty: the first that is not `output`
  std::string output;
  media::Size size;  // the most that is asked for
  int frames_per_second;
};

// Throws tools::Failure.
std::unique_ptr<Camera> OpenCamera(const CameraSettings& settings);

// The three kinds. `name`: how the stream is called in PipeWire. A film begins again after its end.
std::unique_ptr<Camera> OpenDeviceCamera(const std::string& path, media::Size size, int frames_per_second);
std::unique_ptr<Camera> OpenPipeWireCamera(const std::string& node, const std::string& name, int frames_per_second);
std::unique_ptr<Camera> OpenFilmCamera(const std::string& path);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_CAMERA_H_
