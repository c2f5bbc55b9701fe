// SPDX-License-Identifier: Apache-2.0
// What the two pipelines share: worker networks, worker threads, frames in flight.
#ifndef PEXO_PIPELINE_THREAD_PIPELINE_H_
#define PEXO_PIPELINE_THREAD_PIPELINE_H_

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "common/log.h"
#include "network/network.h"
#include "pipeline/frames_in_flight.h"

namespace pexo {

// One caller's thread uses a pipeline; its worker threads start with the first frame and end in Uninit.
class ThreadPipeline : public Network {
 public:
  // Adds a network for the model file at `path`; Init loads it. 5 when memory is short, and then nothing was added.
  int32_t InsertNetworkMacro(std::string_view path);

  // Initialises every worker network in order; the first non-zero status ends it and is returned.
  int32_t Init() override;

  // Stops the threads once the steps they are in have ended, and drops the frames left. 2 when the image library
  // refuses to free an image. Not to be called beside Process.
  int32_t Uninit() override;

  int32_t Predict() override { return kNetworkOk; }

  std::vector<std::shared_ptr<Network>> networks;

 protected:
  using Entry = FramesInFlight::Entry;

  // One worker thread's part in the road of a frame. A step that throws is logged; its frame goes to the final state as
  // the exception left it.
  struct Stage {
    uint32_t takes;                             // frames in this state
    std::function<uint32_t(ThreadData&)> step;  // the work on one; answers its next state
  };

  // Frames are handed back from `final_state`, at most `limit` are in flight. Throws std::bad_alloc.
  ThreadPipeline(uint32_t final_state, size_t limit) : frames(final_state, limit) {}

  // Starts one thread for each stage. One that cannot be started ends the others again. Throws std::system_error.
  void StartThreads(std::vector<Stage> stages);
  void StopThreads();

  // A record for the caller's frame: its copy, the model image of the first worker, the time that made it. Takes the
  // spare record where its sizes fit. Throws std::bad_alloc.
  [[nodiscard]] Entry MakeEntry(const QmxImage& frame, const FrameParams& params, const QmxImage& output);

  // Keeps a record that was handed back, and with it some megabytes that need not be allocated anew for each frame.
  void Recycle(Entry entry) { spare_ = std::move(entry); }

  // Runs a network on a frame's model image; false and a line in the log when it fails.
  [[nodiscard]] static bool RunModel(Network& worker, ThreadData& entry);

  FramesInFlight frames;
  std::vector<std::thread> threads;

 private:
  void RunStage(const Stage& stage);

  Entry spare_;
};

// Runs `step`; an exception is logged and goes no further.
template <typename Step>
void LogExceptions(const Step& step) try {
  step();
} catch (const std::exception& error) {
  PEXO_LOG("Exception in thread = %s", error.what());
} catch (...) {
  PEXO_LOG("Exception in thread!");
}

// Masks of one level. A frame that has no mask counts as person, the whole picture.
inline constexpr uint8_t kNobody = 0;
inline constexpr uint8_t kPerson = 255;
void FillMask(QmxImage& mask, uint8_t level);

}  // namespace pexo

#endif  // PEXO_PIPELINE_THREAD_PIPELINE_H_
