// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_WORKER_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_WORKER_H_

#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <utility>

namespace pexo::live {

// A thread that may hang in somebody else's code.
class Worker {
 public:
  explicit Worker(std::function<void()> work) {
    std::packaged_task<void()> task(std::move(work));
    done_ = task.get_future();
    thread_ = std::thread(std::move(task));
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() {
    if (thread_.joinable()) thread_.join();
  }

  // Whether the work came to its end in this time.
  bool EndsWithin(std::chrono::milliseconds limit) { return done_.wait_for(limit) == std::future_status::ready; }

 private:
  std::future<void> done_;
  std::thread thread_;
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_WORKER_H_
