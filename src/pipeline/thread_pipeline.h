// What the two pipelines share: worker networks, worker threads, frames in flight.
#ifndef PEXO_PIPELINE_THREAD_PIPELINE_H_
#define PEXO_PIPELINE_THREAD_PIPELINE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

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
  // refuses to free an image. A caller that waits inside Process is sent back with 2; otherwise not to be called beside
  // Process.
  int32_t Uninit() override;

  int32_t Predict() override { return kNetworkOk; }

  std::vector<std::shared_ptr<Network>> networks;

 protected:
  using Entry = FramesInFlight::Entry;

  explicit ThreadPipeline(uint32_t final_state) : frames(final_state) {}

  // Starts one thread for each function, unless they are running. A thread that cannot be started ends the others
  // again. Throws std::system_error.
  void StartThreads(std::vector<std::function<void()>> functions);
  void StopThreads();

  // A worker's loop: waits for frames in `from_state`, gives each to `step`, and hands it on in the state that `step`
  // answers. An exception is logged, marks the frame as failed and hands it on in `state_after_exception`.
  void RunWorker(uint32_t from_state, uint32_t state_after_exception, const std::function<uint32_t(ThreadData&)>& step);

  // A record for the caller's frame: its copy, the model image of the first worker, the time that made it. Takes the
  // spare record where its sizes fit. Throws std::bad_alloc.
  [[nodiscard]] Entry MakeEntry(const QmxImage& frame, const FrameParams& params, const QmxImage& output);

  // Keeps a record that was handed back, and with it some megabytes that need not be allocated anew for each frame.
  void Recycle(Entry entry) { spare_ = std::move(entry); }

  // Hands a frame's model image to a network and runs it; failures are logged.
  static void PredictEntry(Network& worker, ThreadData& entry);

  FramesInFlight frames;
  std::vector<std::thread> threads;

 private:
  Entry spare_;
};

// The mask of a frame that has none: the whole picture counts as person.
void FillWithPerson(QmxImage& mask);

}  // namespace pexo

#endif  // PEXO_PIPELINE_THREAD_PIPELINE_H_
