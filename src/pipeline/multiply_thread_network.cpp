#include "pipeline/multiply_thread_network.h"

#include <utility>

#include "common/clock.h"

namespace pexo {

int32_t MultiplyThreadNetwork::Process(QmxImage& frame, FrameParams& params, QmxImage& output) {
  if (networks.empty()) return kNetworkFailed;
  if (threads.empty()) {
    std::vector<std::function<void()>> functions;
    for (const auto& network : networks) functions.emplace_back([this, network] { PredictThread(*network); });
    StartThreads(std::move(functions));
  }

  Entry entry = MakeEntry(frame, params, output);
  const float pre_ms = entry->elapsed_ms;
  const FramesInFlight::Turn turn = frames.WaitForTurn(max_in_flight);
  if (turn.stopped) return kNetworkFailed;
  if (turn.result == nullptr) {
    frames.Exchange(nullptr, std::move(entry));
    FillWithPerson(output);
    return kNetworkOk;
  }

  // The engine's buffers are read before the new frame is submitted, since its prediction overwrites them. All that
  // follows the submission runs beside that prediction.
  ThreadData& result = *turn.result;
  const timeval read_start = WallClock();
  Image mask;
  const bool has_mask = !result.failed && result.worker->ReadMask(params, mask) == kNetworkOk;
  float post_ms = ElapsedMilliseconds(read_start, WallClock());
  frames.Exchange(turn.result, std::move(entry));

  ConvertImage(frame, result.frame);
  const timeval shape_start = WallClock();
  if (has_mask) {
    result.worker->ShapeMask(params, mask, output);
  } else {
    FillWithPerson(output);
  }
  post_ms += ElapsedMilliseconds(shape_start, WallClock());
  execute_time = result.elapsed_ms + pre_ms + post_ms;
  Recycle(turn.result);
  return kNetworkOk;
}

void MultiplyThreadNetwork::PredictThread(Network& worker) {
  RunWorker(kSubmitted, kPredicted, [&worker](ThreadData& entry) { return PredictFrame(worker, entry); });
}

uint32_t MultiplyThreadNetwork::PredictFrame(Network& worker, ThreadData& entry) {
  const timeval start = WallClock();
  PredictEntry(worker, entry);
  entry.elapsed_ms += ElapsedMilliseconds(start, WallClock());
  return kPredicted;
}

}  // namespace pexo
