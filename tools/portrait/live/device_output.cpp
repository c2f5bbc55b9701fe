// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "common/failure.h"
#include "live/file_descriptor.h"
#include "live/output.h"
#include "live/pixel_layout.h"

namespace pexo::live {
namespace {

constexpr int kCheckMilliseconds = 1000;

// Whether another program of this user's has the device open; none if that cannot be said, for some do not let others
// look.
std::optional<bool> IsOpenElsewhere(int device) {
  namespace fs = std::filesystem;
  struct stat wanted {};
  if (::fstat(device, &wanted) != 0) return {};
  std::optional<bool> found = false;
  std::error_code error;
  for (const auto& process : fs::directory_iterator("/proc", error)) {
    struct stat status {};
    const std::string folder = process.path() / "fd", id = process.path().filename();
    if (id.find_first_not_of("0123456789") != std::string::npos || id == std::to_string(::getpid())) continue;
    if (::stat(process.path().c_str(), &status) != 0 || status.st_uid != ::geteuid()) continue;
    fs::directory_iterator descriptors(folder, error);
    if (error == std::errc::permission_denied) found.reset();
    for (; !error && descriptors != fs::directory_iterator(); descriptors.increment(error)) {
      if (::stat(descriptors->path().c_str(), &status) != 0 || !S_ISCHR(status.st_mode)) continue;
      if (status.st_rdev == wanted.st_rdev) return true;
    }
  }
  return found;
}

// Loopback devices do not say whether somebody reads. The kernel tells of every opening and closing of the file, so
// those of others are counted; that costs nothing while nothing happens.
class DeviceOutput : public Output {
 public:
  DeviceOutput(const std::string& path, const OutputSettings& settings, Watched watched)
      : path_(path), card_(settings.card), watched_(std::move(watched)) {
    device_ = FileDescriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    events_ = FileDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    stop_ = FileDescriptor(::eventfd(0, EFD_CLOEXEC));
    if (!device_.is_open() || !events_.is_open() || !stop_.is_open()) Fail();
    // Before there is anything to be read.
    if (::inotify_add_watch(events_.get(), path.c_str(), IN_OPEN | IN_CLOSE) < 0) Fail();
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    format.fmt.pix.width = static_cast<uint32_t>(settings.size.width);
    format.fmt.pix.height = static_cast<uint32_t>(settings.size.height);
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_YUV420;
    format.fmt.pix.field = V4L2_FIELD_NONE;
    format.fmt.pix.bytesperline = format.fmt.pix.width;
    format.fmt.pix.colorspace = V4L2_COLORSPACE_SMPTE170M;
    pixels_.resize(PictureBytes(PixelLayout::kI420, settings.size));
    format.fmt.pix.sizeimage = static_cast<uint32_t>(pixels_.size());
    if (::ioctl(device_.get(), VIDIOC_S_FMT, &format) != 0) Fail();
    const v4l2_pix_format& taken = format.fmt.pix;  // which is the one of another writer, if there is one
    if (taken.pixelformat != V4L2_PIX_FMT_YUV420 || static_cast<int>(taken.width) != settings.size.width ||
        static_cast<int>(taken.height) != settings.size.height) {
      throw tools::Failure(path_ + ": the device does not take pictures of this size");
    }
    v4l2_streamparm rate{};
    rate.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    rate.parm.output.timeperframe = {1, static_cast<uint32_t>(settings.frames_per_second)};
    ::ioctl(device_.get(), VIDIOC_S_PARM, &rate);  // for readers to know; nothing depends on it
    Show(card_);                                   // from now on readers can use it
    watcher_ = std::thread([this] { Watch(); });
  }

  ~DeviceOutput() override {
    ::eventfd_write(stop_.get(), 1);
    watcher_.join();
  }

  void Show(const Picture& picture) override {
    const std::lock_guard lock(mutex_);
    WritePixels(picture.frame(), PixelLayout::kI420, pixels_.data());
    const ssize_t written = ::write(device_.get(), pixels_.data(), pixels_.size());
    if (written != static_cast<ssize_t>(pixels_.size()) && errno != EAGAIN && errno != EINTR) Fail();
  }

 private:
  [[noreturn]] void Fail() const { throw tools::Failure(path_ + ": " + std::strerror(errno)); }

  void Watch() {
    int readers = 0;
    // Not at first, for somebody may have had it open before; and not after events, as the kernel makes one of two that
    // are alike and lie unread.
    bool is_certain = false;
    for (;;) {
      pollfd waiting[] = {{events_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
      const int ready = ::poll(waiting, 2, is_certain ? -1 : kCheckMilliseconds);
      if (ready < 0 && errno != EINTR) return;
      if (waiting[1].revents != 0) return;
      const bool was_watched = readers > 0;
      if (ready == 0) {
        const std::optional<bool> is_open = IsOpenElsewhere(device_.get());
        if (is_open) readers = *is_open ? std::max(readers, 1) : 0;
        is_certain = true;
      }
      alignas(inotify_event) char bytes[4096];
      const ssize_t count = ::read(events_.get(), bytes, sizeof bytes);
      for (ssize_t at = 0; at < count;) {
        const auto* event = reinterpret_cast<const inotify_event*>(bytes + at);
        if ((event->mask & IN_OPEN) != 0) ++readers;
        if ((event->mask & IN_CLOSE) != 0 && readers > 0) --readers;
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      }
      if (count > 0) is_certain = false;
      if ((readers > 0) != was_watched) watched_(readers > 0);
    }
  }

  const std::string path_;
  const Picture card_;
  const Watched watched_;
  FileDescriptor device_;
  FileDescriptor events_;
  FileDescriptor stop_;
  std::mutex mutex_;
  std::vector<uint8_t> pixels_;
  std::thread watcher_;
};

}  // namespace

std::unique_ptr<Output> OpenDeviceOutput(const std::string& path, const OutputSettings& settings,
                                         Output::Watched watched) {
  return std::make_unique<DeviceOutput>(path, settings, std::move(watched));
}

}  // namespace pexo::live
