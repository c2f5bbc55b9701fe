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

// One caller submits and takes back, workers move frames from state to state. Every operation may be called from any
// thread. Waiting threads wake as soon as there is something for them, and look for themselves every millisecond;
// workers less often while no frame awaits work, so that an idle pipeline costs next to nothing.
class FramesInFlight {
 public:
  using Entry = std::shared_ptr<ThreadData>;

  // Frames are handed back from `final_state`.
  explicit FramesInFlight(uint32_t final_state) : final_state_(final_state) {}

  struct Turn {
    bool stopped = false;
    Entry result;  // null: there is room without taking a frame back
  };

  // Caller: waits until fewer than `limit` frames are in flight, or else for the next frame in order to reach the
  // final state. The result stays in the list until Exchange.
  Turn WaitForTurn(size_t limit);

  // Caller: takes `result` (may be null) out and submits `next`, in one step. Throws std::bad_alloc before it changes
  // anything.
  void Exchange(const Entry& result, Entry next);

  // Worker: waits for the first frame in `state` that no other worker is on, and claims it; null once stopped.
  Entry WaitForState(uint32_t state);

  // Worker: hands a claimed frame on.
  void SetState(ThreadData& entry, uint32_t state);

  // Makes every wait, running or to come, end. Restart takes it back.
  void Stop();
  void Restart();

  // Drops every frame. Returns the first non-zero answer of the image library to freeing an image.
  int32_t Clear();

 private:
  [[nodiscard]] bool AnyUnfinished() const;

  const uint32_t final_state_;
  std::mutex frame_mutex_;
  std::condition_variable work_;    // a frame for a worker, or stopped
  std::condition_variable result_;  // a frame for the caller, or stopped
  std::vector<Entry> frames_;       // in submission order
  uint32_t expected_frame_id_ = 0;  // to hand back next
  uint32_t next_frame_id_ = 0;      // to submit next
  bool stop_requested_ = false;
};

}  // namespace pexo

#endif  // PEXO_PIPELINE_FRAMES_IN_FLIGHT_H_
