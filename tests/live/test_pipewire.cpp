// SPDX-License-Identifier: Apache-2.0
// The program between two nodes in a PipeWire of the test's own, without a session manager: a camera in which the room
// is seen, and programs that look. Nothing here depends on how fast the machine is.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
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
    if (!Until([] { return std::system("pw-link --output >/dev/null 2>&1") == 0; }))
      throw std::runtime_error("pipewire");
  }
  ~Daemon() {
    Stop();
    std::filesystem::remove_all(folder_);
  }

  void Stop() { program_.reset(); }
  const std::string& folder() const { return folder_; }

 private:
  std::string folder_ = (std::filesystem::temp_directory_path() / "portrait-live-XXXXXX").string();
  std::optional<Program> program_;
};

// The camera in the room: sends numbered frames while somebody looks.
class RoomCamera {
 public:
  RoomCamera()
      : output_(OpenPipeWireOutput("room", {kSize, 50, Picture::OfCard(test::RoomFrame(0, kSize.width, kSize.height))},
                                   [this](bool is_watched) { is_watched_ = is_watched; })),
        sending_(std::async(std::launch::async, [this] {
          for (int64_t number = 0; !is_ending_; std::this_thread::sleep_for(milliseconds(20))) {
            if (!is_watched_) continue;
            output_->Show(
                Picture::OfCard(test::RoomFrame(is_empty_ ? test::kNobody : number++, kSize.width, kSize.height)));
          }
        })) {}
  ~RoomCamera() {
    is_ending_ = true;
    EXPECT_NO_THROW(sending_.get());
  }

  bool is_watched() const { return is_watched_; }
  void SetEmpty(bool is_empty) { is_empty_ = is_empty; }

 private:
  std::atomic<bool> is_watched_ = false, is_empty_ = false, is_ending_ = false;
  std::unique_ptr<Output> output_;
  std::future<void> sending_;
};

// What a viewer can see.
enum class Sight { kCard, kCardFile, kBlueWall, kGreenWall, kNobody, kOther };

// A program that looks, and what it has seen. Of the room's own wall nothing, ever.
class Viewer {
 public:
  explicit Viewer(const std::string& name)
      : camera_(OpenPipeWireCamera("Portrait", name, 30)),
        link_({"sh", "-c", "until pw-link Portrait " + name + " 2>/dev/null; do sleep 0.05; done"}) {}

  // Looks until it has seen so many of them on end.
  void Look(Sight wanted, int count = 5) {
    int seen = 0;
    for (const Time limit = Clock::now() + kPatience; seen < count && Clock::now() < limit;) {
      const std::optional<CameraFrame> frame = camera_->Read(milliseconds(100));
      if (frame) seen = See(*FitFrame(*frame->picture, kSize, converter_)) == wanted ? seen + 1 : 0;
    }
    EXPECT_EQ(seen, count) << static_cast<int>(wanted);
  }

 private:
  Sight See(const AVFrame& picture) {
    const Seen seen(picture);
    EXPECT_EQ(seen.room, 0);
    if (seen.is_card) return Sight::kCard;
    const bool is_green = seen.corner_u < 100 && seen.corner_v < 100;
    const bool is_blue = seen.corner_u > 200;
    if (seen.number < 0) return is_blue ? Sight::kNobody : is_green ? Sight::kCardFile : Sight::kOther;
    return is_blue ? Sight::kBlueWall : is_green ? Sight::kGreenWall : Sight::kOther;
  }

  std::unique_ptr<Camera> camera_;
  media::FrameConverter converter_;
  Program link_;
};

class PipeWire : public testing::Test {
 protected:
  PipeWire() {
    Engine("works");
    ::setenv("PEXO_FAKE_ENGINE", File("engine").c_str(), 1);
  }

  std::string File(const std::string& name) const { return daemon_->folder() + "/" + name; }
  std::string Socket() const { return File("portrait.sock"); }
  std::string Errors() const {
    std::ifstream file(File("errors"));
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // What the engine does from its next prediction on.
  void Engine(const std::string& word) const {
    std::ofstream(File("engine.new")) << word;
    std::filesystem::rename(File("engine.new"), File("engine"));
  }

  // A picture of one colour.
  std::string WriteWall(const std::string& name, const std::string& colour) const {
    const std::string command =
        PEXO_FFMPEG " -nostdin -y -v error -f lavfi -i color=" + colour + ":s=16x8 -frames:v 1 " + File("new.png");
    if (std::system(command.c_str()) != 0) throw std::runtime_error(command);
    std::filesystem::rename(File("new.png"), File(name));
    return File(name);
  }

  std::vector<std::string> Words(const std::vector<std::string>& options) const {
    std::vector<std::string> words = {"env", "LD_LIBRARY_PATH=" PEXO_FAKE_ENGINE_DIR, PEXO_PORTRAIT};
    words.insert(words.end(), options.begin(), options.end());
    return words;
  }

  void Start(const std::vector<std::string>& options) {
    std::vector<std::string> words =
        Words({"live", "--calm", "0", "--size", "256x128", "--model", PEXO_MODEL, "--stats", "--background", "blue"});
    words.insert(words.end(), options.begin(), options.end());
    program_.emplace(words, File("errors"));
    ASSERT_TRUE(Until([this] { return std::filesystem::exists(Socket()); })) << Errors();
  }

  // Whether the program ends well, also beside a thread that hangs, and leaves nothing behind.
  void ExpectEnd() {
    EXPECT_EQ(program_->End(), 0) << Errors();
    EXPECT_FALSE(std::filesystem::exists(Socket()));
  }

  std::optional<Daemon> daemon_{std::in_place};
  std::optional<RoomCamera> room_{std::in_place};
  Program link_{
      {"sh", "-c", "while :; do pw-link room portrait-camera 2>/dev/null; sleep 0.05; done"}};  // for a session manager
  std::optional<Program> program_;
};

// What a program has in use.
struct Use {
  explicit Use(pid_t id) {
    const std::string folder = "/proc/" + std::to_string(id);
    descriptors = std::distance(std::filesystem::directory_iterator(folder + "/fd"), {});
    int64_t all = 0;
    std::ifstream(folder + "/statm") >> all >> memory;
    memory *= ::getpagesize();
  }

  std::ptrdiff_t descriptors = 0;
  int64_t memory = 0;  // bytes
};

TEST_F(PipeWire, SleepsUntilSomebodyLooksAndNeverShowsTheRoom) {
  // The camera that it finds by itself is this one, where there is no other.
  const bool has_device = std::filesystem::exists("/dev/video0");
  Start(has_device ? std::vector<std::string>{"--from", "pipewire:room"} : std::vector<std::string>{});
  EXPECT_EQ(Program(Words({"live", "--model", PEXO_MODEL}), File("second")).End(0), 1);
  const char* count = std::getenv("PEXO_LIVE_ROUNDS");
  const int rounds = count == nullptr ? 3 : std::atoi(count);
  std::optional<Use> before;
  for (int round = 0; round < rounds; ++round) {
    EXPECT_FALSE(room_->is_watched());
    auto first = std::make_unique<Viewer>("first");
    first->Look(Sight::kBlueWall, 20);
    EXPECT_TRUE(room_->is_watched());
    if (round == 0) {
      Viewer second("second");
      second.Look(Sight::kBlueWall, 20);
      first->Look(Sight::kBlueWall, 20);
    }
    first.reset();
    EXPECT_TRUE(Until([this] { return !room_->is_watched(); })) << round;
    if (round == 1) before.emplace(program_->id());
  }
  EXPECT_TRUE(Until([&] { return Use(program_->id()).descriptors <= before->descriptors; }));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(Use(program_->id()).memory - before->memory, 8 << 20);
#endif
  EXPECT_NE(Errors().find("open after "), std::string::npos) << Errors();
  ExpectEnd();
}

TEST_F(PipeWire, ShowsACardWhateverTheEngineDoes) {
  Engine("fails");
  Start({"--from", "pipewire:room"});
  Viewer viewer("viewer");
  viewer.Look(Sight::kCard);
  for (const char* word : {"throws", "stalls", "fails", "hangs"}) {
    Engine("works");
    viewer.Look(Sight::kBlueWall);
    Engine(word);
    viewer.Look(Sight::kCard);
  }
  ExpectEnd();
}

TEST_F(PipeWire, FailsWhenPipeWireGoesAlsoWhileTheEngineHangs) {
  Start({"--from", "pipewire:room"});
  {
    Viewer viewer("viewer");
    viewer.Look(Sight::kBlueWall);
    Engine("hangs");
    viewer.Look(Sight::kCard);
  }
  room_.reset();
  daemon_->Stop();
  EXPECT_EQ(program_->End(0), 1);
  EXPECT_NE(Errors().find("PipeWire"), std::string::npos) << Errors();
}

TEST_F(PipeWire, ShowsACardUntilTheCameraIsBack) {
  Start({"--from", "pipewire:room"});
  Viewer viewer("viewer");
  viewer.Look(Sight::kBlueWall);
  room_.reset();
  viewer.Look(Sight::kCard);
  EXPECT_TRUE(Until([this] { return Errors().find("the card is shown") != std::string::npos; }));
  room_.emplace();
  viewer.Look(Sight::kBlueWall);
  EXPECT_NE(Errors().find("the camera is back"), std::string::npos) << Errors();
  ExpectEnd();
}

TEST_F(PipeWire, ShowsTheCardFileWhileNobodyIsThere) {
  Start({"--from", "pipewire:room", "--empty", "card", "--card", WriteWall("card.png", "green")});
  room_->SetEmpty(true);
  Viewer viewer("viewer");
  viewer.Look(Sight::kCardFile);
  room_->SetEmpty(false);
  viewer.Look(Sight::kBlueWall);
  room_->SetEmpty(true);
  viewer.Look(Sight::kCardFile);
  EXPECT_EQ(AskSettingsSocket(Socket(), "empty=show"), "ok");
  viewer.Look(Sight::kNobody);
  ExpectEnd();
}

TEST_F(PipeWire, SettingsAndFilesChangeWhileItRuns) {
  Start({"--from", "pipewire:room", "--background", WriteWall("wall.png", "blue")});
  struct stat status {};
  ASSERT_EQ(::stat(Socket().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  Viewer viewer("viewer");
  viewer.Look(Sight::kBlueWall);
  WriteWall("wall.png", "green");
  viewer.Look(Sight::kGreenWall);
  const std::pair<const char*, const char*> lines[] = {{"background=blue", "ok"},
                                                       {"calm=0.5", "ok"},
                                                       {"calm=0", "ok"},
                                                       {"empty=card", "ok"},
                                                       {"background=none", "background takes no"},
                                                       {"background=/dev/zero", "background takes a regular"},
                                                       {"calm=2", "calm takes a number"},
                                                       {"size=1", "size is no setting"},
                                                       {"", " is no setting"}};
  for (const auto& [line, answer] : lines) EXPECT_TRUE(AskSettingsSocket(Socket(), line).starts_with(answer)) << line;
  viewer.Look(Sight::kBlueWall);
  const auto set = [this](const std::string& assignment) {
    auto words = Words({"set", assignment});
    words.insert(words.begin(), {"env", "-C", daemon_->folder()});
    return Program(words, File("set")).End(0);
  };
  EXPECT_EQ(set("background=wall.png"), 0);  // of another folder than the camera's
  viewer.Look(Sight::kGreenWall);
  EXPECT_EQ(set("calm=2"), 2);
  ExpectEnd();
  EXPECT_EQ(set("calm=1"), 1);
}

}  // namespace
}  // namespace pexo::live
