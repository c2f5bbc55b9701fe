// SPDX-License-Identifier: Apache-2.0
// Whatever goes wrong, no picture shows the bare room. The clock is the test's own: no threads, no waiting.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <utility>

#include "compositor_frame.h"
#include "live/director.h"
#include "live/fit.h"
#include "tests/live/room.h"
#include "tests/support/failing_new.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/handle.h"

// The memory of pictures and planes does not come from operator new. Sanitizers bring a heap of their own.
#if !defined(__SANITIZE_ADDRESS__)
extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_memalign(size_t alignment, size_t size);
extern "C" __attribute__((visibility("default"))) void* malloc(size_t size) {
  return pexo::test::AllocationFails() ? nullptr : __libc_malloc(size);
}
extern "C" __attribute__((visibility("default"))) int posix_memalign(void** memory, size_t alignment, size_t size) {
  *memory = pexo::test::AllocationFails() ? nullptr : __libc_memalign(alignment, size);
  return *memory == nullptr ? ENOMEM : 0;
}
#endif

namespace pexo::live {
namespace {

using std::chrono::milliseconds;
using test::Seen;

constexpr auto kPeriod = milliseconds(33);
constexpr Time kStart{std::chrono::hours(1)};  // frame 0
constexpr int kWidth = 128, kHeight = 64;
#if defined(__SANITIZE_ADDRESS__) || PEXO_EMULATED
constexpr int64_t kShown = 5000;  // several times slower there
#else
constexpr int64_t kShown = 20000;
#endif

fake::Engine GoodEngine() {
  return {.inputs = {{"input", {1, 64, 64, 3}}}, .outputs = {{"output", {1, 64, 64, 2}}}};
}

// Holds what is shown against what may be shown.
class Audience : public Output {
 public:
  void Show(const Picture& picture) override {
    const Seen seen(picture.frame());
    ++shown;
    EXPECT_EQ(seen.room, 0);
    if (seen.is_card) {
      ++cards;
      return;
    }
    // A picture is one frame's, whole, and newer than the one before.
    const int64_t number = (picture.captured() - kStart) / kPeriod;
    EXPECT_TRUE(seen.corner_u > 200 || has_wrong_mask) << "grey or blurred, instead of the blue that was asked for";
    EXPECT_TRUE(picture.captured() >= opened && is_watched) << "a loopback device keeps what is shown last";
    EXPECT_TRUE(seen.number == number % test::kNumbers || has_wrong_mask) << number;
    EXPECT_GT(number, std::exchange(last_number, number));
  }

  int64_t shown = 0, cards = 0, last_number = -1;
  Time opened{};  // the camera, last
  bool has_wrong_mask = false, is_watched = false;
};

enum Fault { kNone, kFails, kThrows, kHangs, kLies, kNoMemory, kThrowsOther, kLost, kStall, kResized, kFaults };

// One output frame after the other, with a fault now and then.
class Show {
 public:
  explicit Show(uint32_t seed) : random_(seed), director_({kPeriod, true}, audience_, card_) {
    fake::SetEngine(GoodEngine());
    compositor::Options options;
    options.model = {test::kAnyModel, 64, 64};
    options.has_worker = false;
    options.calm = 0;
    std::memset(picture_->data[1], 240, static_cast<size_t>(picture_->linesize[1]) * kHeight / 2);  // blue
    wall_ = compositor::Picture{AsConst(portrait::ViewOf(*picture_))};
    renderer_.emplace(options, media::Size{kWidth, kHeight},
                      [this](Time) { return std::exchange(is_first_, false) ? &wall_ : nullptr; });
    Watch(true);
  }

  void Watch(bool is_watched) {
    if (!director_.session().WantsCamera(now_)) audience_.opened = now_;
    audience_.is_watched = is_watched;
    director_.session().SetWatched(is_watched, now_);
  }
  Audience& audience() { return audience_; }
  int64_t failures() const { return failures_; }
  bool has_struck() const { return has_struck_; }  // the allocation, in the last step

  // One period: what the camera sends, what the renderer makes of it, what is shown. `allocation`: of kNoMemory; any.
  void Step(Fault fault, std::optional<int> allocation = {}) {
    now_ += kPeriod;
    if (late_ && now_ >= late_until_) director_.Take(*std::exchange(late_, std::nullopt), now_);
    if (fault == kLost) director_.session().Fail();
    const bool is_busy = late_.has_value() || fault == kLost || fault == kStall;
    if (!is_busy && director_.session().WantsCamera(now_)) Render(fault, allocation);
    director_.ShowCardIfDue(now_);
  }

 private:
  void Render(Fault fault, std::optional<int> failing) {
    fake::Engine engine = GoodEngine();
    engine.succeeds = fault != kFails;
    engine.throws = fault == kThrows;
    if (fault == kLies) engine.outputs[0].shape = {1, 2, 2, 1};  // other scores than it had promised
    if (fault != last_) fake::SetEngine(engine);
    last_ = fault;
    const bool is_small = fault == kResized;
    const int64_t number = (now_ - kStart) / kPeriod;
    const CameraFrame frame{test::RoomFrame(number, is_small ? kWidth / 2 : kWidth, is_small ? kHeight / 2 : kHeight),
                            now_};
    Outcome outcome = std::string();
    const int allocation = fault == kNoMemory ? failing.value_or(static_cast<int>(random_() % 12)) : -1;
    has_struck_ = test::Strikes(allocation, [&] {
      outcome = TryRender([&] {
        if (fault == kThrowsOther) throw 5;
        return renderer_->Render(frame);
      });
    });
    failures_ += std::holds_alternative<std::string>(outcome);
    audience_.has_wrong_mask = fault == kLies;
    if (fault != kHangs) {
      director_.Take(outcome, now_);
      return;
    }
    late_ = std::move(outcome);
    late_until_ = now_ + std::chrono::seconds(1);
  }

  std::mt19937 random_;
  Time now_ = kStart;
  int64_t failures_ = 0;
  bool has_struck_ = false;
  const media::AvFrame picture_ = PlainFrame({kWidth, kHeight}, 0);
  compositor::Background wall_;
  bool is_first_ = true;
  const Picture card_ = Picture::OfCard(PlainFrame({kWidth, kHeight}, 96));
  Audience audience_;
  Director director_;
  std::optional<Renderer> renderer_;
  Fault last_ = kNone;
  std::optional<Outcome> late_;
  Time late_until_{};
};

// The second picture of somebody in half the light, and a little more.
TEST(Renderer, AnotherCalmHoldsFromThenOn) {
  fake::SetEngine(GoodEngine());
  const compositor::Background wall = compositor::Colour{0, 0, 255};
  const auto feed = [&](Time) { return &wall; };
  Renderer renderer({.model = {test::kAnyModel, 64, 64}, .calm = 0, .has_worker = false}, {kWidth, kHeight}, feed);
  int levels[3];
  for (const int calm : {0, 1, 2}) {
    renderer.Change(calm % 2, feed);
    for (const uint8_t luma : {130, 131}) {
      levels[calm] = renderer.Render({PlainFrame({kWidth, kHeight}, luma), kStart}).picture.frame().data[0][0];
    }
  }
  EXPECT_NE(levels[0], levels[1]);
  EXPECT_EQ(levels[0], levels[2]);
}

TEST(Privacy, HoldsForEveryFaultAtEveryCallInTurn) {
  for (int fault = kNone; fault < kFaults; ++fault) {
    Show show(1);
    for (int call = 0; call < 16; ++call) {
      for (int i = 0; i < call; ++i) show.Step(kNone);
      const int64_t cards = show.audience().cards, failures = show.failures();
      show.Step(static_cast<Fault>(fault));
      EXPECT_GE(show.audience().cards - cards, show.failures() - failures) << fault << ": not at once";
      // What it cannot do at once it does within half a second.
      const int64_t before = show.audience().shown;
      for (int i = 0; i < 17; ++i) show.Step(kNone);
      EXPECT_GT(show.audience().shown, before) << fault;
    }
    EXPECT_GT(show.audience().shown - show.audience().cards, 16) << fault;
    const bool fails = fault == kFails || fault == kThrows || fault == kThrowsOther;
    EXPECT_GE(show.failures(), fails ? 16 : fault == kNoMemory ? 6 : 0) << fault;
  }
}

TEST(Privacy, HoldsWhereMemoryRunsOutInTheFirstFrame) {
  int allocation = 0;
  for (bool struck = true; struck; ++allocation) {
    Show show(2);
    show.Step(kNoMemory, allocation);
    struck = show.has_struck();
    for (int i = 0; i < 3; ++i) show.Step(kNone);
    EXPECT_GE(show.audience().shown - show.audience().cards, 3) << allocation;
  }
  EXPECT_GT(allocation, 5);
}

TEST(Privacy, HoldsForTwentyThousandFramesOfRandomFaults) {
  std::mt19937 random(7);
  Show show(8);
  bool is_watched = true;
  while (show.audience().shown < kShown) {
    const Fault fault = random() % 4 == 0 ? static_cast<Fault>(random() % kFaults) : kNone;
    const int length = random() % 8 == 0 ? 20 : 1;  // longer than pictures count
    for (int i = 0; i < length; ++i) show.Step(fault);
    if (random() % 50 == 0) show.Watch(is_watched = !is_watched);
  }
  EXPECT_GT(show.audience().cards, kShown / 20);
  EXPECT_GT(show.audience().shown - show.audience().cards, kShown / 4);
}

}  // namespace
}  // namespace pexo::live
