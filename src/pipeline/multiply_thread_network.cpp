// SPDX-License-Identifier: Apache-2.0
#include "pipeline/multiply_thread_network.h"

#include <utility>

#include "common/clock.h"

namespace pexo {

int32_t MultiplyThreadNetwork::Process(QmxImage& frame, FrameParams& params, QmxImage& output) {
  if (networks.empty()) return kNetworkFailed;
  if (threads.empty()) {
    std::vector<Stage> stages;
    for (const auto& network : networks) {
      stages.push_back({kSubmitted, [network](ThreadData& entry) { return PredictFrame(*network, entry); }});
    }
    StartThreads(std::move(stages));
  }

  Entry entry = MakeEntry(frame, params, output);
  const float pre_ms = entry->elapsed_ms;
  ThreadData* const result = frames.WaitForTurn();
  if (result == nullptr) {
    frames.Exchange(std::move(entry));
    FillMask(output, kPerson);
    return kNetworkOk;
  }

  // The engine's buffers are read before the new frame is submitted, since its prediction overwrites them. All that
  // follows the submission runs beside that prediction.
  Network& worker = *result->worker;
  Image mask;
  const timeval read_start = WallClock();
  int32_t status = kNetworkFailed;
  if (result->has_mask) LogExceptions([&] { status = worker.ReadMask(params, mask); });
  float post_ms = ElapsedMilliseconds(read_start, WallClock());
  Recycle(frames.Exchange(std::move(entry)));

  ConvertImage(frame, result->frame);
  const timeval shape_start = WallClock();
  bool shaped = false;
  if (status == kNetworkOk) {
    LogExceptions([&] {
      worker.ShapeMask(params, mask, output);
      shaped = true;
    });
  }
  if (!shaped) {
    FillMask(output, kPerson);
    params.foreground_fraction = 1;
  }
  post_ms += ElapsedMilliseconds(shape_start, WallClock());
  execute_time = result->elapsed_ms + pre_ms + post_ms;
  return kNetworkOk;
}

uint32_t MultiplyThreadNetwork::PredictFrame(Network& worker, ThreadData& entry) {
  const timeval start = WallClock();
  entry.has_mask = RunModel(worker, entry);
  entry.elapsed_ms += ElapsedMilliseconds(start, WallClock());
  return kPredicted;
}

}  // namespace pexo
