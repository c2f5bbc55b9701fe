// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_OUTPUT_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_OUTPUT_H_

#include <functional>
#include <memory>
#include <string>

#include "live/picture.h"
#include "media/film_frames.h"

namespace pexo::live {

// Where pictures go: a camera to other programs.
class Output {
 public:
  // Called from any thread when the first program begins to look, and when the last one stops.
  using Watched = std::function<void(bool is_watched)>;

  virtual ~Output() = default;

  // One thread at a time. Both throw tools::Failure when the output is gone, of which `watched` tells too.
  virtual void Show(const Picture& picture) = 0;
  virtual void Check() {}
};

// Under which other programs find the camera.
inline constexpr char kOutputName[] = "Portrait";

struct OutputSettings {
  media::Size size;
  int frames_per_second;
  Picture card;
};

// A camera called `name` in PipeWire, without a kernel module. Throws tools::Failure.
std::unique_ptr<Output> OpenPipeWireOutput(const std::string& name, const OutputSettings& settings,
                                           Output::Watched watched);

// A loopback device of Video4Linux's; the card lies in it whenever nobody looks. Throws tools::Failure.
std::unique_ptr<Output> OpenDeviceOutput(const std::string& path, const OutputSettings& settings,
                                         Output::Watched watched);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_OUTPUT_H_
