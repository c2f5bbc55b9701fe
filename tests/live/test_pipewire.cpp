// SPDX-License-Identifier: Apache-2.0
// The program between two nodes in a PipeWire of the test's own, without a session manager: a camera in which the room
// is seen, and programs that look. Nothing here depends on how fast the machine is.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "live/camera.h"
#include "live/fit.h"
#include "live/output.h"
#include "live/settings_socket.h"
#include "tests/live/programs.h"
#include "tests/live/room.h"

namespace pexo::live {
namespace {

using std::chrono::milliseconds;
using test::kPatience;
using test::Program;
using test::Seen;
using test::Until;

constexpr media::Size kSize{256, 128};

// A folder as the runtime folder of this process, and a daemon in it.
class Daemon {
 public:
  Daemon() {
    if (::mkdtemp(folder_.data()) == nullptr) throw std::runtime_error("no temporary folder");
    ::setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
    ::unsetenv("PIPEWIRE_REMOTE");
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    program_.emplace(std::vector<std::string>{"pipewire"});
    if (!Until([this] { return std::filesystem::exists(folder_ + "/pipewire-0"); }))
      throw std::runtime_error("pipewire");
  }
  ~Daemon() {
    program_.reset();
    std::filesystem::remove_all(folder_);
  }

  const std::string& folder() const { return folder_; }

 private:
  std::string folder_ = (std::filesystem::temp_directory_path() / "portrait-live-XXXXXX").string();
  std::optional<Program> program_;
};

// The camera in the room: sends numbered frames while somebody looks.
class RoomCamera {
 public:
  RoomCamera()
      : output_(OpenPipeWireOutput("room", {kSize, 30, Picture::OfCard(test::RoomFrame(0, 256, 128))},
                                   [this](bool is_watched) { is_watched_ = is_watched; })),
        thread_([this] {
          for (int64_t number = 0; !is_ending_; std::this_thread::sleep_for(milliseconds(10))) {
            if (!is_watched_) continue;
            output_->Show(Picture::OfCard(test::RoomFrame(number++, kSize.width, kSize.height)));
          }
        }) {}
  ~RoomCamera() {
    is_ending_ = true;
    thread_.join();
  }

  bool is_watched() const { return is_watched_; }

 private:
  std::atomic<bool> is_watched_ = false, is_ending_ = false;
  std::unique_ptr<Output> output_;
  std::thread thread_;
};

// A program that looks, and what it has seen.
class Viewer {
 public:
  explicit Viewer(const std::string& name)
      : camera_(OpenPipeWireCamera("Portrait", name, 30)),
        link_({"sh", "-c", "until pw-link Portrait " + name + " 2>/dev/null; do sleep 0.05; done"}) {}

  // Looks until it has seen so many pictures of the person.
  void Look(int count) {
    pictures_ = 0;
    for (const Time limit = Clock::now() + kPatience; pictures_ < count && Clock::now() < limit;) {
      const std::optional<CameraFrame> frame = camera_->Read(milliseconds(100));
      if (!frame) continue;
      const Seen seen(*FitFrame(*frame->picture, kSize, converter_));
      EXPECT_EQ(seen.room, 0);
      EXPECT_TRUE(seen.is_card || seen.number >= 0);
      if (seen.number < 0) continue;
      // They come in order, however many are left out.
      const int step = pictures_++ == 0 ? 0 : (seen.number - number_ + test::kNumbers) % test::kNumbers;
      EXPECT_LT(step, test::kNumbers / 2);
      number_ = seen.number;
    }
    EXPECT_EQ(pictures_, count);
  }

 private:
  std::unique_ptr<Camera> camera_;
  media::FrameConverter converter_;
  Program link_;
  int pictures_ = 0, number_ = 0;
};

class PipeWire : public testing::Test {
 protected:
  PipeWire()
      : link_({"sh", "-c", "while :; do pw-link room portrait-camera 2>/dev/null; sleep 0.05; done"}),
        program_({"env", "LD_LIBRARY_PATH=" PEXO_FAKE_ENGINE_DIR, PEXO_PORTRAIT, "live", "--from", "pipewire:room",
                  "--background", "blue", "--calm", "0", "--size", "256x128", "--model", PEXO_MODEL}) {
    EXPECT_TRUE(Until([this] { return std::filesystem::exists(Socket()); }));
  }

  std::string Socket() const { return daemon_.folder() + "/portrait.sock"; }

  Daemon daemon_;
  RoomCamera room_;
  Program link_;  // in place of a session manager
  Program program_;
};

TEST_F(PipeWire, SleepsUntilSomebodyLooksAndNeverShowsTheRoom) {
  const char* count = std::getenv("PEXO_LIVE_ROUNDS");
  const int rounds = count == nullptr ? 3 : std::atoi(count);
  for (int round = 0; round < rounds; ++round) {
    EXPECT_FALSE(room_.is_watched());
    auto first = std::make_unique<Viewer>("first");
    first->Look(20);
    EXPECT_TRUE(room_.is_watched());
    if (round == 0) {
      Viewer second("second");
      second.Look(20);
      first->Look(20);
    }
    first.reset();
    EXPECT_TRUE(Until([this] { return !room_.is_watched(); })) << round;
  }
}

TEST_F(PipeWire, SettingsChangeWhileItRuns) {
  struct stat status {};
  ASSERT_EQ(::stat(Socket().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  const std::pair<const char*, const char*> lines[] = {{"background=grey", "ok"},
                                                       {"calm=0.5", "ok"},
                                                       {"empty=card", "ok"},
                                                       {"background=none", "background takes no"},
                                                       {"calm=2", "calm takes a number"},
                                                       {"size=1", "size is no setting"},
                                                       {"", " is no setting"}};
  for (const auto& [line, answer] : lines) EXPECT_TRUE(AskSettingsSocket(Socket(), line).starts_with(answer)) << line;
}

TEST_F(PipeWire, EndsAtASignalAndTakesItsSocketAway) {
  auto viewer = std::make_unique<Viewer>("viewer");
  viewer->Look(5);
  EXPECT_EQ(program_.End(), 0);
  EXPECT_FALSE(std::filesystem::exists(Socket()));
  EXPECT_TRUE(Until([this] { return !room_.is_watched(); }));
}

}  // namespace
}  // namespace pexo::live
