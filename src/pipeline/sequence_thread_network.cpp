// SPDX-License-Identifier: Apache-2.0
#include "pipeline/sequence_thread_network.h"

#include <utility>

#include "common/clock.h"
#include "common/log.h"

namespace pexo {
namespace {

constexpr float kBlurStrength = 1.5f;
constexpr double kMinForeground = 0.05;  // share of the mask below which nobody is there to stay sharp

}  // namespace

int32_t SequenceThreadNetwork::Process(QmxImage& frame, FrameParams& params, QmxImage& output) {
  if (networks.empty()) return kNetworkFailed;
  if (threads.empty()) {
    StartThreads({{kSubmitted, [worker = networks.front()](ThreadData& entry) { return PredictFrame(*worker, entry); }},
                  {kPredicted, [this](ThreadData& entry) { return BlurFrame(entry); }}});
  }

  Entry entry = MakeEntry(frame, params, output);
  frames.WaitForTurn();
  Entry result = frames.Exchange(std::move(entry));
  if (result == nullptr) return kNetworkOk;
  ConvertImage(frame, result->picture());
  if (result->has_mask) {
    ConvertImage(output, result->mask);
  } else {
    FillMask(output, kPerson);
  }
  Recycle(std::move(result));
  return kNetworkOk;
}

int32_t SequenceThreadNetwork::Uninit() {
  const int32_t status = ThreadPipeline::Uninit();
  networks.clear();
  return status;
}

uint32_t SequenceThreadNetwork::PredictFrame(Network& worker, ThreadData& entry) {
  const timeval start = WallClock();
  if (!RunModel(worker, entry)) return kFinished;
  FillMask(entry.mask, kNobody);  // it may have to be scaled, and the image library may do nothing
  const int32_t status = worker.PostProcess(entry.params, entry.mask);
  if (status >= 1) PEXO_LOG("Fail to postprocess in thread and ret value = %d", static_cast<int>(status));
  entry.has_mask = status < 1;
  if (!entry.has_mask || static_cast<double>(entry.params.foreground_fraction) < kMinForeground) return kFinished;
  entry.elapsed_ms += ElapsedMilliseconds(start, WallClock());
  return kPredicted;
}

uint32_t SequenceThreadNetwork::BlurFrame(ThreadData& entry) {
  const timeval start = WallClock();
  if (entry.composite.plane[0] == nullptr) {
    AllocImage(entry.composite, entry.frame.width, entry.frame.height, entry.frame.format);
  }
  entry.composed = blur(entry.frame, entry.composite, entry.mask, kBlurStrength);
  if (!entry.composed) PEXO_LOG("Fail to blur in thread!");
  entry.elapsed_ms += ElapsedMilliseconds(start, WallClock());
  execute_time = entry.elapsed_ms;
  return kFinished;
}

}  // namespace pexo
