// SPDX-License-Identifier: Apache-2.0
#include "film_job.h"

#include <cstdio>
#include <exception>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bounded_queue.h"
#include "common/failure.h"
#include "interruption.h"
#include "progress.h"

namespace pexo::portrait {
namespace {

// Enough to bridge a slow frame; each may hold a picture.
constexpr std::size_t kQueueLength = 4;

// A rendered frame or a packet to copy; exactly one is set.
struct Item {
  RenderedFrame picture;
  media::AvPacket packet;
};

// Ends the waiting on the other side of a queue, however this side ends.
struct Closing {
  BoundedQueue<Item>& queue;
  ~Closing() { queue.Close(); }
};

// A thread whose failure is told when it is joined.
class Worker {
 public:
  template <typename Work>
  explicit Worker(Work work)
      : thread_([this, work = std::move(work)] {
          try {
            work();
          } catch (...) {
            failure_ = std::current_exception();
          }
        }) {}

  void Join() {
    thread_.join();
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  std::exception_ptr failure_;
  std::jthread thread_;
};

class FilmRun {
 public:
  explicit FilmRun(const FilmJob& job)
      : job_(job),
        target_(job.target),
        reader_(job.source, interruption_.stop()),
        progress_(!job.is_quiet, reader_.EstimateFrameCount()) {
    if (job.mask_target) mask_target_.emplace(*job.mask_target);
    const int stored = media::StoredRotation(reader_.video());
    const bool keeps = target_.KeepsRotation() && (!mask_target_ || mask_target_->KeepsRotation());
    turn_ = keeps ? 0 : stored;
    rotation_ = (job.rotation.value_or(stored) - turn_ + 360) % 360;
    is_shown_turned_ = stored % 180 != 0;
    target_.CopyRest(reader_, [this](const std::string& line) { progress_.Tell(target_.path() + ": " + line); });
  }

  void Run() {
    Worker reading([this] { Read(); });
    const Closing reading_ends{decoded_};
    Worker writing([this] { Write(); });
    std::exception_ptr failure;
    try {
      Render();
    } catch (...) {
      failure = std::current_exception();
    }
    decoded_.Close();
    rendered_.Close();
    // Report the earliest stage's failure; later stages fail only because their input stops.
    const auto join = [&failure](Worker& worker) {
      try {
        worker.Join();
      } catch (...) {
        if (!failure) failure = std::current_exception();
      }
    };
    join(reading);
    join(writing);
    if (failure) std::rethrow_exception(failure);
    Finish();
  }

 private:
  void Read() {
    std::optional<media::Size> size = job_.size;
    if (size && is_shown_turned_) std::swap(size->width, size->height);
    media::FilmFrames frames(size, turn_,
                             [this](const std::string& line) { progress_.Tell(reader_.path() + ": " + line); });
    const Closing closing{decoded_};
    for (;;) {
      const StageTimes::Clock clock;
      media::FilmItem read;
      if (!reader_.Read(read)) break;
      Item item{{}, std::move(read.packet)};
      if (read.frame != nullptr) {
        item.picture.frame = frames.Prepare(std::move(read.frame));
        statistics_.read.Add(clock.Seconds());
      }
      if (!decoded_.Push(std::move(item))) break;
    }
  }

  void Render() {
    std::unique_ptr<FilmRenderer> renderer;
    bool is_open = true;
    const auto take = [this, &is_open](RenderedFrame picture) {
      is_open = rendered_.Push({std::move(picture), nullptr});
      progress_.CountFrame();
    };
    while (is_open) {
      std::optional<Item> item = decoded_.Pop();
      if (!item) break;
      if (item->packet != nullptr) {
        is_open = rendered_.Push(std::move(*item));
        continue;
      }
      media::AvFrame frame = std::move(item->picture.frame);
      if (renderer == nullptr) renderer = job_.make_renderer({frame->width, frame->height}, rotation_, statistics_);
      renderer->Render(std::move(frame), take);
    }
    if (renderer != nullptr && is_open) renderer->Render(nullptr, take);
  }

  void Write() {
    const Closing closing{rendered_};
    std::vector<media::AvPacket> early;  // before the first picture says what the film is like
    while (std::optional<Item> item = rendered_.Pop()) {
      if (item->packet != nullptr && !target_.has_started()) {
        early.push_back(std::move(item->packet));
      } else if (item->packet != nullptr) {
        target_.Write(*item->packet);
      } else {
        const StageTimes::Clock clock;
        WritePicture(item->picture);
        statistics_.write.Add(clock.Seconds());
        for (const media::AvPacket& packet : std::exchange(early, {})) target_.Write(*packet);
      }
    }
  }

  void WritePicture(const RenderedFrame& picture) {
    if (!target_.has_started()) {
      target_.Start(*picture.frame, reader_);
      shown_ = {picture.frame->width, picture.frame->height};
      if (turn_ == 0 && is_shown_turned_) std::swap(shown_.width, shown_.height);
    }
    target_.Write(*picture.frame);
    if (!mask_target_) return;
    if (!mask_target_->has_started()) mask_target_->Start(*picture.mask, reader_);
    mask_target_->Write(*picture.mask);
  }

  void Finish() {
    const bool is_interrupted = interruption_.stop().is_requested;
    const std::string& damage = reader_.damage();
    if (!target_.has_started()) {
      if (is_interrupted) throw tools::Interrupted("interrupted before the first frame");
      throw tools::Failure(reader_.path() + ": " + WhyThereIsNoFrame());
    }
    target_.Finish();
    if (mask_target_) mask_target_->Finish();
    const int64_t frames = progress_.frames();
    if (job_.shows_statistics) progress_.Print(statistics_.Text(frames, progress_.FramesPerSecond()));
    if (!job_.is_quiet && job_.target.path != "-") {
      std::printf("%s: %dx%d, %lld frames\n", job_.target.path.c_str(), shown_.width, shown_.height,
                  static_cast<long long>(frames));
    }
    const std::string written = std::to_string(frames) + (frames == 1 ? " frame is" : " frames are") + " written";
    if (is_interrupted) throw tools::Interrupted("interrupted: " + written);
    if (!damage.empty()) throw tools::Failure(reader_.path() + ": " + damage + ": " + written);
  }

  std::string WhyThereIsNoFrame() const {
    const std::string& damage = reader_.damage();
    if (damage.empty() && job_.source.from && reader_.EstimateFrameCount() == 0) {
      return job_.source.to ? "no frame lies between --from and --to" : "--from is past the end of the film";
    }
    return "no frame could be read" + (damage.empty() ? "" : ": " + damage);
  }

  const FilmJob& job_;
  Interruption interruption_;
  media::FilmWriter target_;
  std::optional<media::FilmWriter> mask_target_;
  media::FilmReader reader_;
  Progress progress_;
  int turn_ = 0;
  int rotation_ = 0;
  bool is_shown_turned_ = false;  // players swap width and height of what is stored
  media::Size shown_{};
  FilmStatistics statistics_;
  BoundedQueue<Item> decoded_{kQueueLength};
  BoundedQueue<Item> rendered_{kQueueLength};
};

}  // namespace

void RunFilmJob(const FilmJob& job) {
  FilmRun(job).Run();
}

}  // namespace pexo::portrait
