// SPDX-License-Identifier: Apache-2.0
extern "C" {
#include <libavdevice/avdevice.h>
}

#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "common/failure.h"
#include "live/camera.h"
#include "live/device_modes.h"

namespace pexo::live {
namespace {

// Between looks for a frame where there is nothing to wait on.
constexpr auto kPause = std::chrono::milliseconds(1);

// A frame's own time is taken where the device gives one on this clock and it is no older than this.
constexpr auto kOldest = std::chrono::seconds(1);

class Dictionary {
 public:
  ~Dictionary() { av_dict_free(&entries_); }
  void Set(const char* key, const std::string& value) { av_dict_set(&entries_, key, value.c_str(), 0); }
  AVDictionary** address() { return &entries_; }

 private:
  AVDictionary* entries_ = nullptr;
};

// libavdevice keeps its descriptor of the device to itself, and reading that waits could not be interrupted. So the
// descriptor is looked for among the program's own. Negative if it is not there.
int FindDescriptor(const std::string& path) {
  struct stat device {};
  if (::stat(path.c_str(), &device) != 0) return -1;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", ignored)) {
    const int descriptor = std::atoi(entry.path().filename().c_str());
    struct stat file {};
    if (::fstat(descriptor, &file) == 0 && S_ISCHR(file.st_mode) && file.st_rdev == device.st_rdev) return descriptor;
  }
  return -1;
}

class DeviceCamera : public Camera {
 public:
  DeviceCamera(const std::string& path, media::Size size, int frames_per_second) : path_(path) {
    avdevice_register_all();
    Dictionary options;
    if (const auto mode = BestMode(ModesOf(path, size), size, frames_per_second)) {
      options.Set("input_format", mode->pixels);
      options.Set("video_size", std::to_string(mode->size.width) + "x" + std::to_string(mode->size.height));
      if (mode->frames_per_second > 0) {
        options.Set("framerate", std::to_string(std::min<double>(mode->frames_per_second, frames_per_second)));
      }
    }
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) throw std::bad_alloc();
    context->flags |= AVFMT_FLAG_NONBLOCK;
    Check(avformat_open_input(&context, path.c_str(), av_find_input_format("video4linux2"), options.address()));
    device_.reset(context);
    descriptor_ = FindDescriptor(path);
    if (device_->nb_streams != 1) throw tools::Failure(path_ + ": not a camera");
    OpenDecoder(*device_->streams[0]->codecpar);
    packet_ = media::Own(av_packet_alloc());
  }

  std::optional<CameraFrame> Read(std::chrono::milliseconds patience) override {
    const Time limit = Clock::now() + patience;
    for (;;) {
      const int status = av_read_frame(device_.get(), packet_.get());
      if (status == 0) {
        if (auto frame = Decode()) return frame;
      } else if (status != AVERROR(EAGAIN)) {
        Check(status);
      }
      const Time now = Clock::now();
      if (now >= limit) return {};
      if (status != 0) Wait(limit - now);
    }
  }

 private:
  struct DeviceDeleter {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  };

  // For a frame, as long as that at most.
  void Wait(Clock::duration limit) const {
    pollfd device{descriptor_, POLLIN, 0};
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(limit);
    const bool is_ready = descriptor_ >= 0 &&
                          (::poll(&device, 1, static_cast<int>(milliseconds.count())) == 0 || device.revents == POLLIN);
    if (!is_ready) std::this_thread::sleep_for(kPause);  // also where a driver answers with nothing but errors
  }

  void Check(int status) const {
    if (status < 0) throw tools::Failure(path_ + ": " + media::AvReason(status));
  }

  void OpenDecoder(const AVCodecParameters& parameters) {
    const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
    if (codec == nullptr) throw tools::Failure(path_ + ": pictures of an unknown kind");
    decoder_ = media::Own(avcodec_alloc_context3(codec));
    Check(avcodec_parameters_to_context(decoder_.get(), &parameters));
    decoder_->thread_count = 1;  // more of them would hold frames back
    Check(avcodec_open2(decoder_.get(), codec, nullptr));
  }

  // None for a damaged frame, as cameras send them at the start.
  std::optional<CameraFrame> Decode() {
    const Time now = Clock::now();
    const int64_t microseconds = packet_->pts;
    const bool has_picture = avcodec_send_packet(decoder_.get(), packet_.get()) == 0;
    av_packet_unref(packet_.get());
    media::AvFrame frame = media::Own(av_frame_alloc());
    if (!has_picture || avcodec_receive_frame(decoder_.get(), frame.get()) != 0) return {};
    // Uncompressed pictures still lie in the driver's memory, which goes away with the device.
    media::AvFrame copy = media::NewFrame(frame->width, frame->height, static_cast<AVPixelFormat>(frame->format));
    if (av_frame_copy(copy.get(), frame.get()) < 0 || av_frame_copy_props(copy.get(), frame.get()) < 0) return {};
    const Time stated{std::chrono::microseconds(microseconds)};
    return CameraFrame{std::move(copy), stated <= now && now - stated < kOldest ? stated : now};
  }

  std::string path_;
  std::unique_ptr<AVFormatContext, DeviceDeleter> device_;
  int descriptor_ = -1;  // the device's own
  media::AvCodecContext decoder_;
  media::AvPacket packet_;
};

}  // namespace

std::unique_ptr<Camera> OpenDeviceCamera(const std::string& path, media::Size size, int frames_per_second) {
  return std::make_unique<DeviceCamera>(path, size, frames_per_second);
}

}  // namespace pexo::live
