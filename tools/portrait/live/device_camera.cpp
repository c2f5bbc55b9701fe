// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <thread>
#include <utility>
#include <vector>

#include "common/failure.h"
#include "live/camera.h"
#include "live/device_modes.h"
#include "live/file_descriptor.h"

namespace pexo::live {
namespace {

constexpr uint32_t kCapture = V4L2_BUF_TYPE_VIDEO_CAPTURE;
constexpr uint32_t kBuffers = 4;  // each is given back as soon as its frame is copied

// Between looks for a frame where there is nothing to wait on.
constexpr auto kPause = std::chrono::milliseconds(1);

// A frame's own time is taken where the device gives one on this clock and it is no older than this.
constexpr auto kOldest = std::chrono::seconds(1);

// A buffer of the driver's.
class Mapping {
 public:
  Mapping(int device, const v4l2_buffer& buffer)
      : bytes_(::mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, device, buffer.m.offset)),
        size_(buffer.length) {}
  Mapping(Mapping&& other) noexcept : bytes_(std::exchange(other.bytes_, MAP_FAILED)), size_(other.size_) {}
  Mapping(const Mapping&) = delete;
  ~Mapping() {
    if (is_mapped()) ::munmap(bytes_, size_);
  }

  bool is_mapped() const { return bytes_ != MAP_FAILED; }
  std::span<uint8_t> bytes() const { return {static_cast<uint8_t*>(bytes_), size_}; }

 private:
  void* bytes_;
  size_t size_;
};

class DeviceCamera : public Camera {
 public:
  DeviceCamera(const std::string& path, media::Size size, int frames_per_second)
      : path_(path), device_(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) {
    if (!device_.is_open()) Fail();
    if (!CanCapture(device_.get())) throw tools::Failure(path_ + ": not a camera");
    const std::vector<DeviceMode> modes = ModesOf(device_.get(), size);
    const std::optional<DeviceMode> mode = BestMode(modes, size, frames_per_second);
    v4l2_format format{};
    format.type = kCapture;
    Control(VIDIOC_G_FMT, &format);
    v4l2_pix_format& pixels = format.fmt.pix;
    if (mode) {
      pixels.width = static_cast<uint32_t>(mode->size.width);
      pixels.height = static_cast<uint32_t>(mode->size.height);
      pixels.pixelformat = mode->pixels;
    } else if (!modes.empty() && !FormatOf(pixels.pixelformat)) {
      pixels.pixelformat = modes[0].pixels;
    }
    pixels.field = V4L2_FIELD_ANY;
    pixels.bytesperline = pixels.sizeimage = 0;
    Control(VIDIOC_S_FMT, &format);
    Understand(pixels);
    if (mode && mode->frames_per_second > 0) SetRate(std::min<double>(mode->frames_per_second, frames_per_second));
    Start();
  }

  std::optional<CameraFrame> Read(std::chrono::milliseconds patience) override {
    const Time limit = Clock::now() + patience;
    for (;;) {
      v4l2_buffer buffer = Buffer(0);
      const bool has_frame = ::ioctl(device_.get(), VIDIOC_DQBUF, &buffer) == 0;
      if (has_frame) {
        std::optional<CameraFrame> frame = Take(buffer);
        Control(VIDIOC_QBUF, &buffer);
        if (frame) return frame;
      } else if (errno != EAGAIN && errno != EINTR) {
        Fail();
      }
      const Time now = Clock::now();
      if (now >= limit) return {};
      if (!has_frame) Wait(limit - now);
    }
  }

 private:
  [[noreturn]] void Fail() const { throw tools::Failure(path_ + ": " + std::strerror(errno)); }

  void Control(unsigned long request, void* argument) const {
    while (::ioctl(device_.get(), request, argument) != 0) {
      if (errno != EINTR) Fail();
    }
  }

  static v4l2_buffer Buffer(uint32_t index) {
    v4l2_buffer buffer{};
    buffer.type = kCapture;
    buffer.memory = V4L2_MEMORY_MMAP;
    buffer.index = index;
    return buffer;
  }

  // What the driver made of the format that was asked for.
  void Understand(const v4l2_pix_format& pixels) {
    const std::optional<AVPixelFormat> format = FormatOf(pixels.pixelformat);
    size_ = {static_cast<int>(pixels.width), static_cast<int>(pixels.height)};
    if (!format || av_image_check_size(pixels.width, pixels.height, 0, nullptr) < 0) {
      throw tools::Failure(path_ + ": pictures of an unknown kind");
    }
    format_ = *format;
    if (format_ == AV_PIX_FMT_NONE) {
      OpenDecoder();
      return;
    }
    // Rows of other planes are padded in the measure of those of the first.
    const int step = av_pix_fmt_desc_get(format_)->comp[0].step, row = static_cast<int>(pixels.bytesperline);
    av_image_fill_linesizes(strides_, format_, std::max(row / step, size_.width));
    strides_[0] = std::max(row, av_image_get_linesize(format_, size_.width, 0));
    has_v_first_ = pixels.pixelformat == V4L2_PIX_FMT_YVU420;
  }

  void OpenDecoder() {
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    if (codec == nullptr) throw tools::Failure(path_ + ": no decoder of Motion JPEG");
    decoder_ = media::Own(avcodec_alloc_context3(codec));
    decoder_->thread_count = 1;  // more of them would hold frames back
    const int status = avcodec_open2(decoder_.get(), codec, nullptr);
    if (status < 0) throw tools::Failure(path_ + ": " + media::AvReason(status));
    packet_ = media::Own(av_packet_alloc());
  }

  // As near as the driver comes.
  void SetRate(double frames_per_second) const {
    constexpr int kPrecision = 1001'000;
    const AVRational rate = av_d2q(frames_per_second, kPrecision);
    v4l2_streamparm parameters{};
    parameters.type = kCapture;
    parameters.parm.capture.timeperframe = {static_cast<uint32_t>(rate.den), static_cast<uint32_t>(rate.num)};
    ::ioctl(device_.get(), VIDIOC_S_PARM, &parameters);
  }

  void Start() {
    v4l2_requestbuffers request{};
    request.count = kBuffers;
    request.type = kCapture;
    request.memory = V4L2_MEMORY_MMAP;
    Control(VIDIOC_REQBUFS, &request);
    for (uint32_t index = 0; index < request.count; ++index) {
      v4l2_buffer buffer = Buffer(index);
      Control(VIDIOC_QUERYBUF, &buffer);
      if (!buffers_.emplace_back(device_.get(), buffer).is_mapped()) Fail();
      Control(VIDIOC_QBUF, &buffer);
    }
    uint32_t type = kCapture;
    Control(VIDIOC_STREAMON, &type);
  }

  // For a frame, as long as that at most.
  void Wait(Clock::duration limit) const {
    pollfd device{device_.get(), POLLIN, 0};
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(limit);
    const int ready = ::poll(&device, 1, static_cast<int>(milliseconds.count()));
    // A driver may answer with nothing but errors.
    if (ready != 0 && device.revents != POLLIN) std::this_thread::sleep_for(kPause);
  }

  // None for a damaged frame, as cameras send them at the start.
  std::optional<CameraFrame> Take(const v4l2_buffer& buffer) {
    const Time now = Clock::now();
    if ((buffer.flags & V4L2_BUF_FLAG_ERROR) != 0 || buffer.index >= buffers_.size()) return {};
    const std::span<uint8_t> whole = buffers_[buffer.index].bytes();
    const std::span<uint8_t> bytes = whole.first(std::min<size_t>(buffer.bytesused, whole.size()));
    media::AvFrame picture = decoder_ != nullptr ? Decode(bytes) : Copy(bytes);
    if (picture == nullptr) return {};
    const Time stated{std::chrono::seconds(buffer.timestamp.tv_sec) +
                      std::chrono::microseconds(buffer.timestamp.tv_usec)};
    return CameraFrame{std::move(picture), stated <= now && now - stated < kOldest ? stated : now};
  }

  media::AvFrame Decode(std::span<uint8_t> bytes) {
    packet_->data = bytes.data();  // which the decoder copies, as nothing owns it
    packet_->size = static_cast<int>(bytes.size());
    media::AvFrame picture = media::Own(av_frame_alloc());
    const bool has_picture = !bytes.empty() && avcodec_send_packet(decoder_.get(), packet_.get()) == 0 &&
                             avcodec_receive_frame(decoder_.get(), picture.get()) == 0;
    return has_picture ? std::move(picture) : nullptr;
  }

  media::AvFrame Copy(std::span<uint8_t> bytes) const {
    uint8_t* planes[4] = {};
    const int size = av_image_fill_pointers(planes, format_, size_.height, bytes.data(), strides_);
    if (size < 0 || bytes.size() < static_cast<size_t>(size)) return nullptr;
    if (has_v_first_) std::swap(planes[1], planes[2]);
    media::AvFrame picture = media::NewFrame(size_.width, size_.height, format_);
    av_image_copy(picture->data, picture->linesize, const_cast<const uint8_t**>(planes), strides_, format_, size_.width,
                  size_.height);
    return picture;
  }

  const std::string path_;
  const FileDescriptor device_;
  media::Size size_{};
  AVPixelFormat format_ = AV_PIX_FMT_NONE;  // of uncompressed pictures, as are the next two
  int strides_[4] = {};
  bool has_v_first_ = false;
  media::AvCodecContext decoder_;  // of Motion JPEG
  media::AvPacket packet_;
  std::vector<Mapping> buffers_;
};

}  // namespace

std::unique_ptr<Camera> OpenDeviceCamera(const std::string& path, media::Size size, int frames_per_second) {
  return std::make_unique<DeviceCamera>(path, size, frames_per_second);
}

}  // namespace pexo::live
