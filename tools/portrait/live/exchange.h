// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_EXCHANGE_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_EXCHANGE_H_

#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace pexo::live {

// Single-slot mailbox between two threads: Put replaces a value that was not taken.
template <typename T>
class Exchange {
 public:
  // Whether a value had to be dropped. After Close nothing is kept.
  bool Put(T value) {
    std::optional<T> old(std::move(value));
    {
      const std::lock_guard lock(mutex_);
      if (is_closed_) return false;
      std::swap(value_, old);
    }
    changed_.notify_one();
    return old.has_value();
  }

  std::optional<T> TryTake() {
    const std::lock_guard lock(mutex_);
    return std::exchange(value_, std::nullopt);
  }

  // Waits for a value. None once the exchange is closed.
  std::optional<T> Take() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return is_closed_ || value_.has_value(); });
    return std::exchange(value_, std::nullopt);
  }

  void Close() {
    const std::lock_guard lock(mutex_);
    is_closed_ = true;
    value_.reset();
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<T> value_;
  bool is_closed_ = false;
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_EXCHANGE_H_
