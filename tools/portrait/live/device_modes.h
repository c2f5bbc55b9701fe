// SPDX-License-Identifier: Apache-2.0
// What a Video4Linux device can do.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_DEVICE_MODES_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_DEVICE_MODES_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/pixfmt.h>
}

#include "media/film_frames.h"

namespace pexo::live {

struct DeviceMode {
  uint32_t pixels;  // V4L2_PIX_FMT_...
  media::Size size;
  double frames_per_second;
};

// Whether pictures can be captured from the device at this path.
bool IsCamera(const std::string& path);
bool CanCapture(int device);

// V4L2's pixel format as FFmpeg's: AV_PIX_FMT_NONE is Motion JPEG, none a format that we do not read.
std::optional<AVPixelFormat> FormatOf(uint32_t pixels);

// Those in formats that we read; empty if the device does not list any. `most`: of a device that takes any size.
std::vector<DeviceMode> ModesOf(int device, media::Size most);

// The fastest up to `frames_per_second`, of these the largest up to `most`, of these an uncompressed one; grey ones
// only if there are no others. None if all are larger.
std::optional<DeviceMode> BestMode(std::span<const DeviceMode> modes, media::Size most, double frames_per_second);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_DEVICE_MODES_H_
