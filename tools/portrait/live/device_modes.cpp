// SPDX-License-Identifier: Apache-2.0
#include "live/device_modes.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <tuple>

#include "common/failure.h"
#include "live/file_descriptor.h"

namespace pexo::live {
namespace {

constexpr uint32_t kCapture = V4L2_BUF_TYPE_VIDEO_CAPTURE;

constexpr std::pair<uint32_t, const char*> kPixels[] = {{V4L2_PIX_FMT_YUYV, "yuyv422"},
                                                        {V4L2_PIX_FMT_NV12, "nv12"},
                                                        {V4L2_PIX_FMT_YUV420, "yuv420p"},
                                                        {V4L2_PIX_FMT_MJPEG, "mjpeg"}};

FileDescriptor Open(const std::string& path) {
  return FileDescriptor(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
}

// The highest rate of pictures of this size.
double RateOf(int device, uint32_t pixels, media::Size size) {
  double best = 0;
  v4l2_frmivalenum interval{};
  interval.pixel_format = pixels;
  interval.width = static_cast<uint32_t>(size.width);
  interval.height = static_cast<uint32_t>(size.height);
  for (; ::ioctl(device, VIDIOC_ENUM_FRAMEINTERVALS, &interval) == 0; ++interval.index) {
    const bool is_discrete = interval.type == V4L2_FRMIVAL_TYPE_DISCRETE;
    const v4l2_fract& shortest = is_discrete ? interval.discrete : interval.stepwise.min;
    if (shortest.numerator > 0) best = std::max(best, static_cast<double>(shortest.denominator) / shortest.numerator);
    if (!is_discrete) break;
  }
  return best;
}

}  // namespace

bool IsCamera(const std::string& path) {
  const FileDescriptor device = Open(path);
  v4l2_capability capability{};
  if (!device.is_open() || ::ioctl(device.get(), VIDIOC_QUERYCAP, &capability) != 0) return false;
  const bool has_own = (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0;
  const uint32_t can = has_own ? capability.device_caps : capability.capabilities;
  return (can & V4L2_CAP_VIDEO_CAPTURE) != 0 && (can & V4L2_CAP_STREAMING) != 0;
}

std::vector<DeviceMode> ModesOf(const std::string& path, media::Size most) {
  const FileDescriptor device = Open(path);
  if (!device.is_open()) throw tools::Failure(path + ": " + std::strerror(errno));
  std::vector<DeviceMode> modes;
  v4l2_fmtdesc format{};
  for (format.type = kCapture; ::ioctl(device.get(), VIDIOC_ENUM_FMT, &format) == 0; ++format.index) {
    const auto* known = std::find_if(std::begin(kPixels), std::end(kPixels),
                                     [&](const auto& pair) { return pair.first == format.pixelformat; });
    if (known == std::end(kPixels)) continue;
    v4l2_frmsizeenum frame{};
    frame.pixel_format = format.pixelformat;
    for (; ::ioctl(device.get(), VIDIOC_ENUM_FRAMESIZES, &frame) == 0; ++frame.index) {
      const bool is_discrete = frame.type == V4L2_FRMSIZE_TYPE_DISCRETE;
      const media::Size size =
          is_discrete ? media::Size{static_cast<int>(frame.discrete.width), static_cast<int>(frame.discrete.height)}
                      : media::Size{std::min(most.width, static_cast<int>(frame.stepwise.max_width)),
                                    std::min(most.height, static_cast<int>(frame.stepwise.max_height))};
      modes.push_back({known->second, size, RateOf(device.get(), format.pixelformat, size)});
      if (!is_discrete) break;
    }
  }
  return modes;
}

std::optional<DeviceMode> BestMode(std::span<const DeviceMode> modes, media::Size most, double frames_per_second) {
  const auto rank = [&](const DeviceMode& mode) {
    return std::tuple(mode.size.width <= most.width && mode.size.height <= most.height,
                      std::min(mode.frames_per_second, frames_per_second), mode.size.width * mode.size.height,
                      mode.pixels != "mjpeg");
  };
  const auto best =
      std::max_element(modes.begin(), modes.end(), [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
  if (best == modes.end() || !std::get<0>(rank(*best))) return {};
  return *best;
}

}  // namespace pexo::live
