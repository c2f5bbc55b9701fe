// SPDX-License-Identifier: Apache-2.0
// The network on the host's engine: prediction beside the bare inference, the work around it, loading, and mask view
// frames a second. Times are medians of one run.
#include <benchmark/benchmark.h>
#include <pexo_host/engine.h>
#include <qmx/qmx_image.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/table.h"
#include "common/log.h"
#include "pexo/humanbodyseg.h"
#include "snpe/snpe_network.h"
#include "tests/support/test_image.h"

namespace pexo::bench {
namespace {

constexpr char kBigModel[] = PEXO_MODELS_DIR "/MoviePortraitBig.dlc";
constexpr char kWideModel[] = PEXO_MODELS_DIR "/MoviePortraitSmallWide.dlc";
constexpr int kSizes[][2] = {{640, 480}, {1280, 720}, {1920, 1080}};

std::unique_ptr<SnpeNetwork> MakeNetwork(int threads, const char* model = kBigModel, bool rewritten = true) {
  pexoHostEngineSetThreads(threads);
  pexoHostEngineSetRewrites(rewritten);
  auto network = std::make_unique<SnpeNetwork>(model);
  const bool loaded = network->Init() == kNetworkOk;
  pexoHostEngineSetRewrites(1);
  if (!loaded) throw std::runtime_error(std::string("cannot load ") + model);
  return network;
}

// Of the processor, for the calling thread: a busy machine leaves it alone.
double ThreadSeconds() {
  timespec time;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void Predict(benchmark::State& state, const char* model, bool rewritten) {
  const auto network = MakeNetwork(static_cast<int>(state.range(0)), model, rewritten);
  const test::TestImage frame = test::TestImage::Noise(1280, 720, 1);
  network->PreProcess(frame, FrameParams{});
  double invoke_seconds = 0;
  const double start = ThreadSeconds();
  for (auto _ : state) {
    network->Predict();
    invoke_seconds += pexoHostEngineLastInvokeSeconds();
  }
  state.counters["thread_ms"] = benchmark::Counter((ThreadSeconds() - start) * 1e3, benchmark::Counter::kAvgIterations);
  state.counters["invoke_ms"] = benchmark::Counter(invoke_seconds * 1e3, benchmark::Counter::kAvgIterations);
}

void PreProcess(benchmark::State& state) {
  const auto network = MakeNetwork(1);
  const test::TestImage frame = test::TestImage::Noise(1280, 720, 1);
  for (auto _ : state) network->PreProcess(frame, FrameParams{});
}

void PostProcess(benchmark::State& state) {
  const auto network = MakeNetwork(1);
  const test::TestImage frame = test::TestImage::Noise(1280, 720, 1);
  FrameParams params;
  network->PreProcess(frame, params);
  network->Predict();
  Image mask;
  AllocImage(mask, 1280, 720, kFormatGray8);
  for (auto _ : state) network->PostProcess(params, mask);
}

void Init(benchmark::State& state) {
  pexoHostEngineSetThreads(1);
  for (auto _ : state) {
    SnpeNetwork network(kBigModel);
    if (network.Init() != kNetworkOk) state.SkipWithError("Init failed");
  }
}

// The nine functions, as an application uses them.
void MaskView(benchmark::State& state) {
  pexoHostEngineSetThreads(static_cast<int>(state.range(2)));
  const test::TestImage noise =
      test::TestImage::Noise(static_cast<int32_t>(state.range(0)), static_cast<int32_t>(state.range(1)), 1);
  test::TestImage frame(noise);
  HumanBodySegHandle* handle = pexoHumanBodySegCreate();
  const int32_t effect = HUMANBODYSEG_EFFECT_MASK;
  pexoHumanBodySegSetParam(handle, PARAM_EFFECT_MODE, &effect);
  pexoHumanBodySegSetParam(handle, PARAM_MODEL_PATH, kBigModel);
  if (pexoHumanBodySegInit(handle) != HUMANBODYSEG_OK) state.SkipWithError("Init failed");
  for (auto _ : state) {
    if (pexoHumanBodySegProcess(handle, &frame, nullptr) != HUMANBODYSEG_OK) {
      state.SkipWithError("Process failed");
      break;
    }
  }
  pexoHumanBodySegUninit(handle);
  pexoHumanBodySegDestroy(handle);
}

BENCHMARK_CAPTURE(Predict, big, kBigModel, true)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Predict, big_as_it_is, kBigModel, false)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Predict, wide, kWideModel, true)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Predict, wide_as_it_is, kWideModel, false)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(PreProcess)->Unit(benchmark::kMillisecond);
BENCHMARK(PostProcess)->Unit(benchmark::kMillisecond);
BENCHMARK(Init)->Unit(benchmark::kMillisecond);
BENCHMARK(MaskView)->UseRealTime()->Unit(benchmark::kMillisecond)->Apply([](benchmark::internal::Benchmark* each) {
  for (const auto& size : kSizes) {
    for (const int threads : {1, 2}) each->Args({size[0], size[1], threads});
  }
});

void PrintTable(const Medians& medians) {
  std::printf("The network, %s\n", "256x256 two-score model, medians of one run");
  for (const int threads : {1, 2}) {
    const std::string name = "Predict/big/" + std::to_string(threads);
    const std::string label = ", " + std::to_string(threads) + (threads == 1 ? " engine thread" : " engine threads");
    PrintRow("Predict" + label, medians.at(name));
    PrintRow("  XNNPACK's invocation inside it", medians.at(name + ":invoke_ms"));
    PrintRatio("  ratio", medians.at(name) / medians.at(name + ":invoke_ms"), 1.2);
  }
  const auto print_rewriting = [&](const std::string& label, const std::string& model, double bar) {
    const double rewritten = medians.at("Predict/" + model + "/1:thread_ms");
    const double plain = medians.at("Predict/" + model + "_as_it_is/1:thread_ms");
    PrintRow(label + ", 1 engine thread, processor time", rewritten);
    PrintRow(label + " without rewrites", plain);
    PrintRatio("  ratio", rewritten / plain, bar);
  };
  print_rewriting("Predict", "big", 0.84);
  print_rewriting("Predict of the 144x256 model", "wide", 0.84);
  PrintRow("Pre-processing of a 1280x720 frame", medians.at("PreProcess"));
  PrintRow("Post-processing of a 1280x720 frame", medians.at("PostProcess"));
  PrintRatio("  both beside Predict on one thread",
             (medians.at("PreProcess") + medians.at("PostProcess")) / medians.at("Predict/big/1"), 1.0);
  PrintRow("Init of the packed model (bar: 20 ms)", medians.at("Init"));
  for (const auto& size : kSizes) {
    for (const int threads : {1, 2}) {
      const std::string arguments =
          std::to_string(size[0]) + "/" + std::to_string(size[1]) + "/" + std::to_string(threads);
      std::printf("  Mask view %4dx%-4d %d engine thread%s %35.0f frames/s\n", size[0], size[1], threads,
                  threads == 1 ? " " : "s", 1e3 / medians.at("MaskView/" + arguments));
    }
  }
}

}  // namespace
}  // namespace pexo::bench

int main(int argc, char** argv) {
  pexo::log_level = 0;
  return pexo::bench::Main(argc, argv, pexo::bench::PrintTable);
}
