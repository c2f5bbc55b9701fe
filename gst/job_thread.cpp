// SPDX-License-Identifier: Apache-2.0
#include "job_thread.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace pexo::gst {
namespace {

constexpr auto kPatience = std::chrono::seconds(1);

}  // namespace

struct JobThread::Shared {
  std::mutex mutex;
  std::condition_variable changed;
  std::function<void()> job;  // until the thread takes it
  bool is_busy = false;
  bool is_hurried = false;
  int number = 0;  // of the thread that counts; those before have been left alone
};

JobThread::JobThread() : shared_(std::make_shared<Shared>()) {}

JobThread::~JobThread() {
  bool is_busy = false;
  {
    const std::lock_guard lock(shared_->mutex);
    is_busy = shared_->is_busy;  // possibly with the job that is destroying this object
    ++shared_->number;
    shared_->changed.notify_all();
  }
  if (thread_.joinable()) is_busy ? thread_.detach() : thread_.join();
}

bool JobThread::Do(std::function<void()> job) {
  std::unique_lock lock(shared_->mutex);
  if (!thread_.joinable()) thread_ = std::thread(Work, shared_, shared_->number);
  shared_->job = std::move(job);
  shared_->is_busy = true;
  shared_->changed.notify_all();
  while (shared_->is_busy) {
    shared_->changed.wait(lock, [this] { return !shared_->is_busy || shared_->is_hurried; });
    const auto is_over = [this] { return !shared_->is_busy || !shared_->is_hurried; };
    if (shared_->changed.wait_for(lock, kPatience, is_over)) continue;
    ++shared_->number;
    shared_->is_busy = false;
    thread_.detach();
    return false;
  }
  return true;
}

void JobThread::SetHurried(bool is_hurried) {
  const std::lock_guard lock(shared_->mutex);
  shared_->is_hurried = is_hurried;
  shared_->changed.notify_all();
}

void JobThread::Work(const std::shared_ptr<Shared>& shared, int number) {
  std::unique_lock lock(shared->mutex);
  for (;;) {
    shared->changed.wait(lock, [&] { return shared->job != nullptr || shared->number != number; });
    if (shared->number != number) return;
    std::function<void()> job = std::exchange(shared->job, nullptr);
    lock.unlock();
    job();
    job = nullptr;
    lock.lock();
    if (shared->number != number) return;
    shared->is_busy = false;
    shared->changed.notify_all();
  }
}

}  // namespace pexo::gst
