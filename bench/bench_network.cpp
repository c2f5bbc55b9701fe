// The network on the host's engine: prediction beside the bare inference, the work around it, loading, and mask view
// frames a second. Times are medians of one run.
#include <benchmark/benchmark.h>
#include <pexo_host/engine.h>
#include <qmx/qmx_image.h>

#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/table.h"
#include "common/log.h"
#include "pexo/humanbodyseg.h"
#include "snpe/snpe_network.h"
#include "tests/support/frames.h"

namespace pexo::bench {
namespace {

constexpr char kBigModel[] = PEXO_MODELS_DIR "/MoviePortraitBig.dlc";
constexpr int kSizes[][2] = {{640, 480}, {1280, 720}, {1920, 1080}};

std::unique_ptr<SnpeNetwork> MakeNetwork(int threads) {
  pexoHostEngineSetThreads(threads);
  auto network = std::make_unique<SnpeNetwork>(kBigModel);
  if (network->Init() != kNetworkOk) throw std::runtime_error(std::string("cannot load ") + kBigModel);
  return network;
}

void Predict(benchmark::State& state) {
  const auto network = MakeNetwork(static_cast<int>(state.range(0)));
  const test::Frame frame = test::Frame::Noise(1280, 720, 1);
  network->PreProcess(frame.image(), FrameParams{});
  double invoke_seconds = 0;
  for (auto _ : state) {
    network->Predict();
    invoke_seconds += pexoHostEngineLastInvokeSeconds();
  }
  state.counters["invoke_ms"] = benchmark::Counter(invoke_seconds * 1e3, benchmark::Counter::kAvgIterations);
}

void PreProcess(benchmark::State& state) {
  const auto network = MakeNetwork(1);
  const test::Frame frame = test::Frame::Noise(1280, 720, 1);
  for (auto _ : state) network->PreProcess(frame.image(), FrameParams{});
}

void PostProcess(benchmark::State& state) {
  const auto network = MakeNetwork(1);
  const test::Frame frame = test::Frame::Noise(1280, 720, 1);
  FrameParams params;
  network->PreProcess(frame.image(), params);
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
  const test::Frame noise =
      test::Frame::Noise(static_cast<int32_t>(state.range(0)), static_cast<int32_t>(state.range(1)), 1);
  test::Frame frame(noise);
  HumanBodySegHandle* handle = pexoHumanBodySegCreate();
  const int32_t effect = HUMANBODYSEG_EFFECT_MASK;
  pexoHumanBodySegSetParam(handle, PARAM_EFFECT_MODE, &effect);
  pexoHumanBodySegSetParam(handle, PARAM_MODEL_PATH, kBigModel);
  if (pexoHumanBodySegInit(handle) != HUMANBODYSEG_OK) state.SkipWithError("Init failed");
  for (auto _ : state) {
    if (pexoHumanBodySegProcess(handle, &frame.image(), nullptr) != HUMANBODYSEG_OK) {
      state.SkipWithError("Process failed");
      break;
    }
  }
  pexoHumanBodySegUninit(handle);
  pexoHumanBodySegDestroy(handle);
}

BENCHMARK(Predict)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
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
    const std::string name = "Predict/" + std::to_string(threads);
    const std::string label = ", " + std::to_string(threads) + (threads == 1 ? " engine thread" : " engine threads");
    PrintRow("Predict" + label, medians.at(name));
    PrintRow("  XNNPACK's invocation inside it", medians.at(name + ":invoke_ms"));
    PrintRatio("  ratio", medians.at(name) / medians.at(name + ":invoke_ms"), 1.2);
  }
  PrintRow("Pre-processing of a 1280x720 frame", medians.at("PreProcess"));
  PrintRow("Post-processing of a 1280x720 frame", medians.at("PostProcess"));
  PrintRatio("  both beside Predict on one thread",
             (medians.at("PreProcess") + medians.at("PostProcess")) / medians.at("Predict/1"), 1.0);
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
