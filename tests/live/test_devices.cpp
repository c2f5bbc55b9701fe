// SPDX-License-Identifier: Apache-2.0
// From a Video4Linux camera to a loopback device. Runs in the emulated machine (see CMakeLists.txt), which is thirty
// times slower than this one.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include "live/camera.h"
#include "live/device_modes.h"
#include "live/file_descriptor.h"
#include "live/fit.h"
#include "tests/live/programs.h"
#include "tests/live/room.h"

namespace pexo::live {
namespace {

using test::Program;
using test::Seen;
using test::Until;

constexpr char kCamera[] = "/dev/video0", kLoopback[] = "/dev/video10", kSecondLoopback[] = "/dev/video11";
constexpr media::Size kSize{320, 180};

// Whether any process but this one has the file open.
bool IsOpen(const std::string& file) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  for (const auto& process : fs::directory_iterator("/proc", ignored)) {
    if (process.path().filename() == std::to_string(::getpid())) continue;
    for (const auto& descriptor : fs::directory_iterator(process.path() / "fd", ignored)) {
      if (fs::read_symlink(descriptor.path(), ignored) == file) return true;
    }
  }
  return false;
}

// Whether a loopback device has been given one.
bool HasFormat(const std::string& device) {
  std::ifstream file("/sys/class/video4linux/" + device.substr(5) + "/format");
  std::string format;
  return static_cast<bool>(file >> format);
}

// The camera's test picture has bars of all colours; those with much green are a person to the fake engine. The wall is
// blue: of the red, which is a quarter of the picture, hardly anything remains where the small network is rough.
TEST(Devices, TheCameraIsOpenWhileSomebodyReadsAndNeverShowsTheRoom) {
  ASSERT_TRUE(IsCamera(kCamera));
  std::optional<FileDescriptor> early(std::in_place, ::open(kLoopback, O_RDWR | O_CLOEXEC));
  Program program({"env", "XDG_RUNTIME_DIR=/run", "LD_LIBRARY_PATH=" PEXO_FAKE_ENGINE_DIR, PEXO_PORTRAIT, "live",
                   "--from", kCamera, "--to", kLoopback, "--background", "blue", "--size", "320x180", "--model",
                   PEXO_MODEL});
  EXPECT_TRUE(Until([] { return IsOpen(kCamera); }));
  early.reset();
  for (int look = 0; look < 2; ++look) {
    ASSERT_TRUE(Until([] { return !IsOpen(kCamera); })) << look;
    const auto reader = OpenDeviceCamera(kLoopback, kSize, 30);
    media::FrameConverter converter;
    int pictures = 0, cards = 0;
    EXPECT_TRUE(Until([&] {
      const auto frame = reader->Read(std::chrono::milliseconds(500));
      if (!frame) return false;
      const Seen seen(*FitFrame(*frame->picture, kSize, converter));
      EXPECT_LT(seen.room, 0.05);
      EXPECT_TRUE(seen.is_card || IsOpen(kCamera));
      ++(seen.is_card ? cards : pictures);
      return pictures == 5;
    })) << cards;
  }
  EXPECT_TRUE(Until([] { return !IsOpen(kCamera); }));

  // What lies in the device now was shown before: the card, all grey.
  ::kill(program.id(), SIGSTOP);
  std::vector<uint8_t> left(kSize.width * kSize.height * 3 / 2);
  EXPECT_EQ(::read(FileDescriptor(::open(kLoopback, O_RDONLY)).get(), left.data(), left.size()), std::ssize(left));
  EXPECT_EQ(std::count(left.begin(), left.end(), left[0]), kSize.width * kSize.height);
  ::kill(program.id(), SIGCONT);

  // Two readers leave at once, while the program cannot listen: the kernel tells it of one.
  std::optional<FileDescriptor> readers[2];
  for (auto& reader : readers) {
    reader.emplace(::open(kLoopback, O_RDWR | O_CLOEXEC));
    ASSERT_TRUE(Until([] { return IsOpen(kCamera); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  ::kill(program.id(), SIGSTOP);
  for (auto& reader : readers) reader.reset();
  ::kill(program.id(), SIGCONT);
  EXPECT_TRUE(Until([] { return !IsOpen(kCamera); }));
  EXPECT_EQ(program.End(), 0);
}

// Another loopback device plays one: the room with the person of frame 255.
TEST(Devices, ACameraMaySendPixelsOfManyKinds) {
  for (const std::string pixels : {"yuvj420p", "yuv420p", "nv12", "bgr0", "gray"}) {
    const std::string codec = pixels == "yuvj420p" ? "mjpeg" : "rawvideo";
    Program camera({PEXO_FFMPEG, "-nostdin", "-v", "error", "-re", "-f", "lavfi", "-i",
                    "color=red:s=320x180:r=5,drawbox=x=40:w=80:h=180:color=white:t=fill", "-c:v", codec, "-pix_fmt",
                    pixels, "-q:v", "2", "-f", "v4l2", kSecondLoopback});
    ASSERT_TRUE(Until([] { return HasFormat(kSecondLoopback); })) << pixels;
    const auto reader = OpenDeviceCamera(kSecondLoopback, kSize, 30);
    std::optional<CameraFrame> frame;
    ASSERT_TRUE(Until([&] { return (frame = reader->Read(std::chrono::milliseconds(500))).has_value(); })) << pixels;
    media::FrameConverter converter;
    const Seen seen(*FitFrame(*frame->picture, kSize, converter));
    EXPECT_EQ(seen.number, test::kNumbers) << pixels;
    EXPECT_NEAR(seen.room, pixels == "gray" ? 0 : 0.75, 0.01) << pixels;
  }
}

}  // namespace
}  // namespace pexo::live
