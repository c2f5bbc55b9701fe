// SPDX-License-Identifier: Apache-2.0
#include <pexo/compositor/compositor.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "composer.h"
#include "segmenter.h"

namespace pexo::compositor {
namespace {

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The share of pixels that are rather person than not.
double PersonFraction(const Plane<uint8_t>& mask) {
  int64_t count = 0;
  for (int y = 0; y < mask.height(); ++y) {
    const uint8_t* row = mask.Row(y);
    for (int x = 0; x < mask.width(); ++x) count += row[x] >> 7;
  }
  return static_cast<double>(count) / mask.width() / mask.height();
}

}  // namespace

class Compositor::Implementation {
 public:
  explicit Implementation(const Options& options)
      : segmenter_(options.model, options.rotation), composer_(options.edges, options.calm, options.rotation) {
    if (!(options.calm >= 0 && options.calm <= 1)) throw std::invalid_argument("calm must be 0 to 1");
    composer_.backdrop().Set(options.background);
    if (options.has_worker) worker_ = std::thread([this] { Work(); });
  }

  ~Implementation() {
    {
      const std::lock_guard lock(mutex_);
      is_stopping_ = true;
    }
    changed_.notify_all();
    if (worker_.joinable()) worker_.join();
  }

  Composer& composer() { return composer_; }

  void Begin(const ConstFrame& frame) {
    CheckFrame(frame);
    if (begun_ - finished_ == kMaxBegun) throw std::logic_error("too many frames are begun");
    Slot& slot = SlotOf(begun_);
    slot.frame = frame;
    slot.error = nullptr;
    {
      const std::lock_guard lock(mutex_);
      ++begun_;
    }
    changed_.notify_all();
  }

  Rendered Finish(const Frame& output) {
    if (begun_ == finished_) throw std::logic_error("no frame is begun");
    Slot& slot = SlotOf(finished_);
    CheckOutput(slot.frame, output);
    WaitForMask();
    ++finished_;  // whatever becomes of it
    const auto start = std::chrono::steady_clock::now();
    try {
      if (slot.error != nullptr) std::rethrow_exception(slot.error);
      composer_.Compose(slot.frame, slot.segmentation, output);
    } catch (...) {
      composer_.Reset();
      throw;
    }
    const Plane<uint8_t>& mask = composer_.mask();
    return {.mask = {mask.Row(0), mask.stride(), mask.width(), mask.height()},
            .person_fraction = PersonFraction(slot.segmentation.mask),
            .segment_seconds = slot.seconds,
            .compose_seconds = SecondsSince(start)};
  }

 private:
  struct Slot {
    ConstFrame frame;
    Segmentation segmentation;
    std::exception_ptr error;
    double seconds = 0;
  };

  Slot& SlotOf(int64_t frame) { return slots_[static_cast<size_t>(frame % kMaxBegun)]; }

  static void CheckOutput(const ConstFrame& frame, const Frame& output) {
    CheckFrame(AsConst(output));
    if (output.width != frame.width || output.height != frame.height || output.range != frame.range ||
        output.matrix != frame.matrix) {
      throw std::invalid_argument("the output must have the frame's size, range and matrix");
    }
  }

  // What the worker does for a frame; a failure is handed on with it.
  void Segment(Slot& slot) noexcept {
    const auto start = std::chrono::steady_clock::now();
    try {
      segmenter_.Segment(slot.frame, slot.segmentation);
    } catch (...) {
      slot.error = std::current_exception();
    }
    slot.seconds = SecondsSince(start);
  }

  void Work() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return is_stopping_ || segmented_ < begun_; });
      if (is_stopping_) return;
      Slot& slot = SlotOf(segmented_);
      lock.unlock();
      Segment(slot);
      lock.lock();
      ++segmented_;
      changed_.notify_all();
    }
  }

  // Until the oldest frame that is in has its mask.
  void WaitForMask() {
    if (!worker_.joinable()) {
      Segment(SlotOf(segmented_++));
      return;
    }
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return segmented_ > finished_; });
  }

  Segmenter segmenter_;  // the worker's, where there is one
  Composer composer_;
  std::array<Slot, kMaxBegun> slots_;  // a frame's slot is the worker's from Begin until its mask is there
  int64_t finished_ = 0;               // frames; the caller's
  std::mutex mutex_;
  std::condition_variable changed_;
  int64_t begun_ = 0;      // written by the caller, under the lock
  int64_t segmented_ = 0;  // under the lock where there is a worker
  bool is_stopping_ = false;
  std::thread worker_;
};

Compositor::Compositor(const Options& options) : implementation_(std::make_unique<Implementation>(options)) {}
Compositor::~Compositor() = default;
Compositor::Compositor(Compositor&&) noexcept = default;
Compositor& Compositor::operator=(Compositor&&) noexcept = default;

void Compositor::SetBackground(const Background& background) {
  implementation_->composer().backdrop().Set(background);
}
void Compositor::Begin(const ConstFrame& frame) {
  implementation_->Begin(frame);
}
Rendered Compositor::Finish(const Frame& output) {
  return implementation_->Finish(output);
}
void Compositor::Reset() {
  implementation_->composer().Reset();
}

Rendered Compositor::Process(const ConstFrame& frame, const Frame& output) {
  Begin(frame);
  return Finish(output);
}

}  // namespace pexo::compositor
