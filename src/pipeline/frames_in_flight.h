// SPDX-License-Identifier: Apache-2.0
// The frames between submission and hand-back, in order, and the waiting on them.
#ifndef PEXO_PIPELINE_FRAMES_IN_FLIGHT_H_
#define PEXO_PIPELINE_FRAMES_IN_FLIGHT_H_

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "pipeline/thread_data.h"

namespace pexo {

// One caller submits frames and takes them back in the order of submission; workers move them from state to state. A
// thread that waits is woken when a frame reaches the state that it waits for, and by nothing else but Stop.
class FramesInFlight {
 public:
  using Entry = std::unique_ptr<ThreadData>;

  // Frames are handed back from `final_state`; `limit` of them may be in flight. Throws std::bad_alloc.
  FramesInFlight(uint32_t final_state, size_t limit) : final_state_(final_state), limit_(limit) {
    frames_.reserve(limit);
  }

  [[nodiscard]] uint32_t final_state() const { return final_state_; }

  // Caller: null when there is room for another frame; or else waits for the oldest one to reach the final state. It
  // stays in the list until Exchange. Only while workers run.
  ThreadData* WaitForTurn();

  // Caller, after WaitForTurn: takes out the frame that it answered and submits `next`, in one step that cannot fail.
  Entry Exchange(Entry next);

  // Worker: waits for a frame in `state` and takes it into work; null once stopped.
  ThreadData* WaitForWork(uint32_t state);

  // Worker: hands a frame on.
  void HandOn(ThreadData& entry, uint32_t state);

  // Ends every wait of a worker, running or to come. Restart takes it back.
  void Stop();
  void Restart();

  // Drops every frame; no worker may be running. Returns the first non-zero answer of the image library to freeing an
  // image, each frame's picture before its mask.
  int32_t Clear();

 private:
  const uint32_t final_state_;
  const size_t limit_;
  std::mutex frame_mutex_;
  std::condition_variable reached_[kInWork];  // one for each state that is waited for
  std::vector<Entry> frames_;                 // in submission order
  bool stop_requested_ = false;
};

}  // namespace pexo

#endif  // PEXO_PIPELINE_FRAMES_IN_FLIGHT_H_
