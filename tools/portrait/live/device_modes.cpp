// SPDX-License-Identifier: Apache-2.0
#include "live/device_modes.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <tuple>

#include "live/file_descriptor.h"

namespace pexo::live {
namespace {

constexpr uint32_t kCapture = V4L2_BUF_TYPE_VIDEO_CAPTURE;

struct Known {
  uint32_t pixels;
  AVPixelFormat format;
};
// Of modes that are alike, the first: what costs little to convert, other exact pixels, Motion JPEG. Grey ones are
// last.
constexpr Known kKnown[] = {{V4L2_PIX_FMT_YUYV, AV_PIX_FMT_YUYV422},    {V4L2_PIX_FMT_NV12, AV_PIX_FMT_NV12},
                            {V4L2_PIX_FMT_YUV420, AV_PIX_FMT_YUV420P},  {V4L2_PIX_FMT_YVU420, AV_PIX_FMT_YUV420P},
                            {V4L2_PIX_FMT_UYVY, AV_PIX_FMT_UYVY422},    {V4L2_PIX_FMT_YVYU, AV_PIX_FMT_YVYU422},
                            {V4L2_PIX_FMT_NV21, AV_PIX_FMT_NV21},       {V4L2_PIX_FMT_YUV422P, AV_PIX_FMT_YUV422P},
                            {V4L2_PIX_FMT_BGR24, AV_PIX_FMT_BGR24},     {V4L2_PIX_FMT_RGB24, AV_PIX_FMT_RGB24},
                            {V4L2_PIX_FMT_XBGR32, AV_PIX_FMT_BGR0},     {V4L2_PIX_FMT_BGR32, AV_PIX_FMT_BGR0},
                            {V4L2_PIX_FMT_XRGB32, AV_PIX_FMT_0RGB},     {V4L2_PIX_FMT_RGB32, AV_PIX_FMT_0RGB},
                            {V4L2_PIX_FMT_MJPEG, AV_PIX_FMT_NONE},      {V4L2_PIX_FMT_JPEG, AV_PIX_FMT_NONE},
                            {V4L2_PIX_FMT_RGB565, AV_PIX_FMT_RGB565LE}, {V4L2_PIX_FMT_GREY, AV_PIX_FMT_GRAY8},
                            {V4L2_PIX_FMT_Y16, AV_PIX_FMT_GRAY16LE}};

const Known* Find(uint32_t pixels) {
  return std::find_if(std::begin(kKnown), std::end(kKnown), [=](const Known& known) { return known.pixels == pixels; });
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
  const FileDescriptor device(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  return device.is_open() && CanCapture(device.get());
}

bool CanCapture(int device) {
  v4l2_capability capability{};
  if (::ioctl(device, VIDIOC_QUERYCAP, &capability) != 0) return false;
  const bool has_own = (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0;
  const uint32_t can = has_own ? capability.device_caps : capability.capabilities;
  return (can & V4L2_CAP_VIDEO_CAPTURE) != 0 && (can & V4L2_CAP_STREAMING) != 0;
}

std::optional<AVPixelFormat> FormatOf(uint32_t pixels) {
  const Known* known = Find(pixels);
  return known == std::end(kKnown) ? std::nullopt : std::optional(known->format);
}

std::vector<DeviceMode> ModesOf(int device, media::Size most) {
  std::vector<DeviceMode> modes;
  v4l2_fmtdesc format{};
  for (format.type = kCapture; ::ioctl(device, VIDIOC_ENUM_FMT, &format) == 0; ++format.index) {
    if (!FormatOf(format.pixelformat)) continue;
    v4l2_frmsizeenum frame{};
    frame.pixel_format = format.pixelformat;
    for (; ::ioctl(device, VIDIOC_ENUM_FRAMESIZES, &frame) == 0; ++frame.index) {
      const bool is_discrete = frame.type == V4L2_FRMSIZE_TYPE_DISCRETE;
      const media::Size size =
          is_discrete ? media::Size{static_cast<int>(frame.discrete.width), static_cast<int>(frame.discrete.height)}
                      : media::Size{std::min(most.width, static_cast<int>(frame.stepwise.max_width)),
                                    std::min(most.height, static_cast<int>(frame.stepwise.max_height))};
      modes.push_back({format.pixelformat, size, RateOf(device, format.pixelformat, size)});
      if (!is_discrete) break;
    }
  }
  return modes;
}

std::optional<DeviceMode> BestMode(std::span<const DeviceMode> modes, media::Size most, double frames_per_second) {
  const auto rank = [&](const DeviceMode& mode) {
    const Known* pixels = Find(mode.pixels);
    return std::tuple(mode.size.width <= most.width && mode.size.height <= most.height,
                      pixels < Find(V4L2_PIX_FMT_GREY), std::min(mode.frames_per_second, frames_per_second),
                      mode.size.width * mode.size.height, std::end(kKnown) - pixels);
  };
  const auto best =
      std::max_element(modes.begin(), modes.end(), [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
  if (best == modes.end() || !std::get<0>(rank(*best))) return {};
  return *best;
}

}  // namespace pexo::live
