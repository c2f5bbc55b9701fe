#include "pipeline/sequence_thread_network.h"

#include <utility>

#include "blur/background_blur.h"
#include "common/clock.h"
#include "common/log.h"

namespace pexo {
namespace {

constexpr float kBlurStrength = 1.5f;
constexpr double kLeastForeground = 0.05;  // share of the mask below which nobody is there to stay sharp

}  // namespace

int32_t SequenceThreadNetwork::Process(QmxImage& frame, FrameParams& params, QmxImage& output) {
  if (networks.empty()) return kNetworkFailed;
  if (threads.empty()) {
    StartThreads({[this, network = networks.front()] { PredictThread(*network); }, [this] { BlurThread(); }});
  }

  Entry entry = MakeEntry(frame, params, output);
  const FramesInFlight::Turn turn = frames.WaitForTurn(threads.size());
  if (turn.stopped) return kNetworkFailed;
  frames.Exchange(turn.result, std::move(entry));
  if (turn.result != nullptr) {
    ConvertImage(frame, turn.result->picture());
    ConvertImage(output, turn.result->mask);
    Recycle(turn.result);
  }
  return kNetworkOk;
}

int32_t SequenceThreadNetwork::Uninit() {
  const int32_t status = ThreadPipeline::Uninit();
  networks.clear();
  return status;
}

void SequenceThreadNetwork::PredictThread(Network& worker) {
  RunWorker(kSubmitted, kFinished, [&worker](ThreadData& entry) { return PredictFrame(worker, entry); });
}

uint32_t SequenceThreadNetwork::PredictFrame(Network& worker, ThreadData& entry) {
  const timeval start = WallClock();
  FillWithPerson(entry.mask);  // what a frame has when post-processing fails
  PredictEntry(worker, entry);
  const int32_t status = worker.PostProcess(entry.params, entry.mask);
  if (status >= 1) PEXO_LOG("Fail to postprocess in thread and ret value = %d", static_cast<int>(status));
  if (static_cast<double>(entry.params.foreground_fraction) < kLeastForeground) return kFinished;
  entry.elapsed_ms += ElapsedMilliseconds(start, WallClock());
  return kPredicted;
}

void SequenceThreadNetwork::BlurThread() {
  RunWorker(kPredicted, kFinished, [this](ThreadData& entry) { return BlurFrame(entry); });
}

uint32_t SequenceThreadNetwork::BlurFrame(ThreadData& entry) {
  const timeval start = WallClock();
  if (entry.composite.plane[0] == nullptr) {
    AllocImage(entry.composite, entry.frame.width, entry.frame.height, entry.frame.format);
  }
  entry.composed = TryComposeBackgroundBlur(entry.frame, entry.composite, entry.mask, kBlurStrength);
  if (!entry.composed) PEXO_LOG("Fail to blur in thread!");
  entry.elapsed_ms += ElapsedMilliseconds(start, WallClock());
  execute_time = entry.elapsed_ms;
  return kFinished;
}

}  // namespace pexo
