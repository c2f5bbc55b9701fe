// SPDX-License-Identifier: Apache-2.0
#include "pipeline/thread_pipeline.h"

#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "common/clock.h"
#include "snpe/snpe_network.h"

namespace pexo {
namespace {

constexpr int32_t kInsertFailed = 5;

bool SameSize(const QmxImage& a, const QmxImage& b) {
  return a.width == b.width && a.height == b.height;
}

}  // namespace

int32_t ThreadPipeline::InsertNetworkMacro(std::string_view path) try {
  networks.push_back(std::make_shared<SnpeNetwork>(std::string(path)));
  return kNetworkOk;
} catch (...) {
  return kInsertFailed;
}

int32_t ThreadPipeline::Init() {
  for (const auto& network : networks) {
    const int32_t status = network->Init();
    if (status != kNetworkOk) return status;
  }
  return kNetworkOk;
}

int32_t ThreadPipeline::Uninit() {
  StopThreads();
  spare_.reset();
  for (const auto& network : networks) network->Uninit();
  return frames.Clear() == 0 ? kNetworkOk : kNetworkFailed;
}

void ThreadPipeline::StartThreads(std::vector<Stage> stages) {
  frames.Restart();
  try {
    for (Stage& stage : stages) threads.emplace_back([this, stage = std::move(stage)] { RunStage(stage); });
  } catch (...) {
    StopThreads();
    throw;
  }
}

void ThreadPipeline::StopThreads() {
  frames.Stop();
  for (std::thread& thread : threads) thread.join();
  threads.clear();
}

void ThreadPipeline::RunStage(const Stage& stage) {
  while (ThreadData* const entry = frames.WaitForWork(stage.takes)) {
    uint32_t next_state = frames.final_state();
    LogExceptions([&] { next_state = stage.step(*entry); });
    frames.HandOn(*entry, next_state);
  }
}

ThreadPipeline::Entry ThreadPipeline::MakeEntry(const QmxImage& frame, const FrameParams& params,
                                                const QmxImage& output) {
  Entry entry = std::exchange(spare_, nullptr);
  if (entry == nullptr || !SameSize(entry->frame, frame) || !SameSize(entry->mask, output)) {
    entry = std::make_unique<ThreadData>(frame, output);
    if (entry->frame.plane[0] == nullptr || entry->mask.plane[0] == nullptr) throw std::bad_alloc();
  }
  entry->state = kSubmitted;
  entry->has_mask = entry->composed = false;
  entry->params = params;
  const timeval start = WallClock();
  entry->model_image = networks.front()->MakeModelImage(frame, params);
  entry->elapsed_ms = ElapsedMilliseconds(start, WallClock());
  ConvertImage(entry->frame, frame);
  return entry;
}

bool ThreadPipeline::RunModel(Network& worker, ThreadData& entry) {
  entry.worker = &worker;
  worker.TakeModelImage(entry.model_image, entry.params);
  const int32_t status = worker.Predict();
  if (status >= 1) PEXO_LOG("Fail to predict in thread and ret value = %d", static_cast<int>(status));
  return status < 1;
}

void FillMask(QmxImage& mask, uint8_t level) {
  if (mask.plane[0] == nullptr) return;
  std::memset(mask.plane[0], level, static_cast<size_t>(mask.width) * static_cast<size_t>(mask.height));
}

}  // namespace pexo
