// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_BOUNDED_QUEUE_H_
#define PEXO_TOOLS_PORTRAIT_BOUNDED_QUEUE_H_

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace pexo::portrait {

// Hands values from one thread to another, and makes the faster of the two wait. Every wait ends when either side
// closes.
template <typename T>
class BoundedQueue {
 public:
  explicit BoundedQueue(std::size_t limit) : limit_(limit) {}

  // Waits for room. False when the queue is closed: the value is dropped.
  [[nodiscard]] bool Push(T value) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return is_closed_ || values_.size() < limit_; });
    if (is_closed_) return false;
    values_.push_back(std::move(value));
    changed_.notify_all();
    return true;
  }

  // Waits for a value. None when the queue is closed and everything is out.
  std::optional<T> Pop() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return is_closed_ || !values_.empty(); });
    if (values_.empty()) return std::nullopt;
    std::optional<T> value(std::move(values_.front()));
    values_.pop_front();
    changed_.notify_all();
    return value;
  }

  // What is in can still be taken out.
  void Close() {
    const std::lock_guard lock(mutex_);
    is_closed_ = true;
    changed_.notify_all();
  }

 private:
  const std::size_t limit_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<T> values_;
  bool is_closed_ = false;
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_BOUNDED_QUEUE_H_
