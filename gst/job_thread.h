// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_GST_JOB_THREAD_H_
#define PEXO_GST_JOB_THREAD_H_

#include <functional>
#include <memory>
#include <thread>

namespace pexo::gst {

// Runs one job at a time while the caller waits; a job that hangs can be abandoned.
class JobThread {
 public:
  JobThread();
  ~JobThread();
  JobThread(const JobThread&) = delete;
  JobThread& operator=(const JobThread&) = delete;

  // Whether the job came to its end, which has also destroyed it by then. If not, it goes on behind everybody's back,
  // so it owns what it uses. It must not throw. One caller at a time. Throws std::system_error.
  bool Do(std::function<void()> job);

  // While it is set, Do waits for a second at most. Any thread.
  void SetHurried(bool is_hurried);

 private:
  struct Shared;
  static void Work(const std::shared_ptr<Shared>& shared, int number);

  std::shared_ptr<Shared> shared_;
  std::thread thread_;
};

}  // namespace pexo::gst

#endif  // PEXO_GST_JOB_THREAD_H_
