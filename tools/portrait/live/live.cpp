// SPDX-License-Identifier: Apache-2.0
#include "live/live.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "common/failure.h"
#include "interruption.h"
#include "live/capture.h"
#include "live/card.h"
#include "live/director.h"
#include "live/live_background.h"
#include "live/live_settings.h"
#include "live/rendering.h"
#include "live/settings_socket.h"
#include "live/statistics.h"
#include "model_file.h"

namespace pexo::live {
namespace {

constexpr auto kEndPatience = std::chrono::milliseconds(300);

void Say(const std::string& line) {
  std::fprintf(stderr, "portrait: %s\n", line.c_str());
}

BackgroundFeed FeedOf(const portrait::BackgroundChoice& choice) {
  auto background = std::make_shared<LiveBackground>(choice);
  return [background](Time now) { return background->At(now); };
}

Renderer MakeRenderer(const LiveOptions& options) {
  try {
    return {options.compositor, options.size, FeedOf(options.background)};
  } catch (const compositor::Error&) {
    throw portrait::ModelFailure(options.compositor.model.path, "");
  }
}

// Wakes the thread that waits for it, from any other.
class Bell {
 public:
  Bell() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!descriptor_.is_open()) throw tools::Failure("no event descriptor");
  }

  int descriptor() const { return descriptor_.get(); }
  void Ring() { ::eventfd_write(descriptor_.get(), 1); }
  void Silence() {
    eventfd_t count = 0;
    ::eventfd_read(descriptor_.get(), &count);
  }

 private:
  FileDescriptor descriptor_;
};

// The main thread's part: everything is decided here, and the two other threads hand in what they have.
class Live {
 public:
  explicit Live(const LiveOptions& options)
      : options_(options),
        settings_{options.background, options.compositor.calm, options.shows_empty},
        socket_(SettingsSocketPath()),
        card_(options.card.empty() ? PlainCard(options.size) : CardOf(options.card, options.size)),
        renderer_(MakeRenderer(options)),
        output_(OpenOutput()),
        director_({std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(1)) / options.frames_per_second,
                   options.shows_empty},
                  *output_, card_),
        rendering_(renderer_, frames_, outcomes_, [this] { bell_.Ring(); }),
        capture_([camera = CameraSettings{options.from, options.to, options.size,
                                          options.frames_per_second}] { return OpenCamera(camera); },
                 frames_,
                 [this](const std::string& trouble) {
                   troubles_.Put(trouble);
                   bell_.Ring();
                 }) {}

  ~Live() {
    if (!EndThreads()) Leave(EXIT_SUCCESS);
  }

  // Throws tools::Failure when the output is gone.
  void Run(const media::Stop& stop) {
    try {
      RunUntil(stop);
    } catch (const std::exception& error) {
      if (EndThreads()) throw;
      Say(error.what());
      Leave(EXIT_FAILURE);
    }
    if (is_watched_) PrintStatistics(Clock::now());
  }

 private:
  // False if one of them hangs in the camera's driver or in the engine.
  bool EndThreads() {
    output_.reset();
    frames_.Close();
    return capture_.Stop(kEndPatience) && rendering_.EndsWithin(kEndPatience);
  }

  // Without waiting for threads. Nothing is left to be written.
  [[noreturn]] static void Leave(int status) {
    ::unlink(SettingsSocketPath().c_str());
    std::_Exit(status);
  }

  void RunUntil(const media::Stop& stop) {
    while (!stop.is_requested) {
      const Time now = Clock::now();
      FollowWatching(now);
      TakeOutcome(now);
      TellTrouble();
      director_.ShowCardIfDue(now);
      capture_.SetWanted(director_.session().WantsCamera(now));
      Wait(stop);
      bell_.Silence();
      socket_.Serve([this](const std::string& line) { return Set(line); });
    }
  }

  std::unique_ptr<Output> OpenOutput() {
    const OutputSettings settings{options_.size, options_.frames_per_second, card_};
    const auto watched = [this](bool is_watched) {
      wants_pictures_ = is_watched;
      bell_.Ring();
    };
    return options_.to.empty() ? OpenPipeWireOutput(kOutputName, settings, watched)
                               : OpenDeviceOutput(options_.to, settings, watched);
  }

  void FollowWatching(Time now) {
    output_->Check();
    const bool is_watched = wants_pictures_;
    if (std::exchange(is_watched_, is_watched) == is_watched) return;
    director_.session().SetWatched(is_watched, now);
    if (is_watched) {
      statistics_ = {.start = now,
                     .processor_before = ProcessorSeconds(),
                     .frames_before = capture_.frames(),
                     .dropped_before = capture_.dropped()};
    } else {
      output_->Show(card_);  // nobody finds an old picture in it
      PrintStatistics(now);
    }
  }

  void TakeOutcome(Time now) {
    const std::optional<Outcome> outcome = outcomes_.TryTake();
    if (!outcome) return;
    if (director_.Take(*outcome, now)) statistics_.Add(std::get<Finished>(*outcome), Clock::now());
    const auto* reason = std::get_if<std::string>(&*outcome);
    if (reason != nullptr) ++statistics_.failed;
    if (std::exchange(has_failed_, reason != nullptr) == has_failed_) return;
    Say(has_failed_ ? *reason + "; the card is shown" : "pictures are shown again");
  }

  void TellTrouble() {
    const std::optional<std::string> trouble = troubles_.TryTake();
    if (!trouble || *trouble == trouble_) return;
    if (!trouble->empty()) director_.session().Fail();
    Say(trouble->empty() ? "the camera is back" : *trouble + "; the card is shown");
    trouble_ = *trouble;
  }

  void Wait(const media::Stop& stop) {
    waiting_.assign({{bell_.descriptor(), POLLIN, 0}, {stop.descriptor, POLLIN, 0}});
    socket_.AddTo(waiting_);
    const Time now = Clock::now();
    const std::optional<Time> change = director_.session().NextChange(now);
    timespec limit{};
    if (change && *change > now) {
      const auto nanoseconds = std::chrono::nanoseconds(*change - now).count();
      limit = {nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    }
    ::ppoll(waiting_.data(), waiting_.size(), change ? &limit : nullptr, nullptr);
  }

  std::string Set(const std::string& line) {
    try {
      LiveSettings settings = settings_;
      settings.Set(line);
      rendering_.Change(settings.calm, FeedOf(settings.background));
      director_.session().SetShowsEmpty(settings.shows_empty);
      settings_ = settings;
      return "ok";
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  void PrintStatistics(Time now) const {
    if (!options_.statistics) return;
    std::fputs(statistics_.Text(now, capture_.opened(), capture_.frames(), capture_.dropped()).c_str(), stderr);
  }

  const LiveOptions options_;
  LiveSettings settings_;
  Bell bell_;
  SettingsSocket socket_;
  const Picture card_;
  Renderer renderer_;
  std::atomic<bool> wants_pictures_ = false;
  std::unique_ptr<Output> output_;
  Director director_;
  bool is_watched_ = false;
  Statistics statistics_{};
  bool has_failed_ = false;
  std::string trouble_;
  std::vector<pollfd> waiting_;
  Exchange<CameraFrame> frames_;
  Exchange<Outcome> outcomes_;
  Exchange<std::string> troubles_;
  Rendering rendering_;
  Capture capture_;
};

}  // namespace

void RunLive(const LiveOptions& options) {
  const portrait::Interruption interruption;
  Live(options).Run(portrait::Interruption::stop());
}

}  // namespace pexo::live
