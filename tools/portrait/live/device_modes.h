// SPDX-License-Identifier: Apache-2.0
// What a Video4Linux device can do.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_DEVICE_MODES_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_DEVICE_MODES_H_

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "media/film_frames.h"

namespace pexo::live {

struct DeviceMode {
  std::string pixels;  // as libavdevice calls them
  media::Size size;
  double frames_per_second;
};

// Whether pictures can be captured from the device at this path.
bool IsCamera(const std::string& path);

// Empty if the device does not list them. Throws tools::Failure when it cannot be opened.
std::vector<DeviceMode> ModesOf(const std::string& path, media::Size most);

// The fastest up to `frames_per_second`, of these the largest up to `most`, of these an uncompressed one. None if all
// are larger.
std::optional<DeviceMode> BestMode(std::span<const DeviceMode> modes, media::Size most, double frames_per_second);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_DEVICE_MODES_H_
