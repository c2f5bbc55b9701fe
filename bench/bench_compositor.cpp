// SPDX-License-Identifier: Apache-2.0
// Finished pictures beside the library's own work on the small copy that their mask comes from: one thread, times are
// medians of one run.
#include <benchmark/benchmark.h>
#include <pexo/compositor/compositor.h>
#include <pexo/humanbodyseg.h>
#include <pexo_host/engine.h>
#include <qmx/qmx_image.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/table.h"
#include "compositor/composer.h"

namespace pexo::bench {
namespace {

using namespace compositor;

constexpr int kSizes[][2] = {{1280, 720}, {1920, 1080}};
const Model kModels[] = {{PEXO_MODELS_DIR "/MoviePortraitSmall.dlc", 256, 256},
                         {PEXO_MODELS_DIR "/MoviePortraitSmallWide.dlc", 256, 144}};
constexpr const char* kModelNames[] = {"256x256", "256x144"};
const Background kBackgrounds[] = {Blur{}, Grey{}, Colour{0, 128, 255}, Transparent{}};
constexpr const char* kBackgroundNames[] = {"blur", "grey", "colour", "transparent"};

// A noisy frame with an ellipse, and the ellipse's mask in place of the model's.
struct Scene {
  explicit Scene(const benchmark::State& state)
      : width(static_cast<int>(state.range(0))), height(static_cast<int>(state.range(1))) {
    const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
    pixels.resize(luma * 3 / 2);
    std::mt19937 random(1);
    for (uint8_t& pixel : pixels) pixel = static_cast<uint8_t>(128 + random() % 16);
    frame = {width,           height,         Layout::kNv12,
             Range::kLimited, Matrix::kBt601, {pixels.data(), pixels.data() + luma},
             {width, width}};
    segmentation.picture.Resize(256, 144);
    Scaler().Scale(AsConst(frame), segmentation.picture);
    segmentation.mask.Resize(256, 144);
    for (int y = 0; y < 144; ++y) {
      for (int x = 0; x < 256; ++x) {
        const double dx = (x - 128) / 60.0, dy = (y - 90) / 80.0;
        segmentation.mask.Row(y)[x] = dx * dx + dy * dy < 1 ? 255 : 0;
      }
    }
  }

  int width, height;
  std::vector<uint8_t> pixels;
  Frame frame;
  Segmentation segmentation;
};

// What the library takes for one small NV21 frame.
void LibraryCall(benchmark::State& state) {
  pexoHostEngineSetThreads(1);
  const Model& model = kModels[state.range(0)];
  const size_t luma = static_cast<size_t>(model.width) * static_cast<size_t>(model.height);
  std::vector<uint8_t> pixels(luma * 3 / 2, 100);
  QmxImage image{
      QMX_FORMAT_NV21, model.width, model.height, {pixels.data(), pixels.data() + luma}, {model.width, model.width}};
  HumanBodySegHandle* handle = pexoHumanBodySegCreate();
  const int32_t effect = HUMANBODYSEG_EFFECT_MASK;
  pexoHumanBodySegSetParam(handle, PARAM_EFFECT_MODE, &effect);
  pexoHumanBodySegSetParam(handle, PARAM_MODEL_PATH, model.path.c_str());
  if (pexoHumanBodySegInit(handle) != HUMANBODYSEG_OK) state.SkipWithError("Init failed");
  for (auto _ : state) pexoHumanBodySegProcess(handle, &image, nullptr);
  pexoHumanBodySegUninit(handle);
  pexoHumanBodySegDestroy(handle);
}

void Shrink(benchmark::State& state) {
  Scene scene(state);
  Scaler scaler;
  for (auto _ : state) scaler.Scale(AsConst(scene.frame), scene.segmentation.picture);
}

void Fit(benchmark::State& state) {
  Scene scene(state);
  Guide guide;
  MaskRefiner refiner;
  for (auto _ : state) {
    MakeGuide(scene.segmentation.picture, guide);
    refiner.Open(AsConst(scene.frame), guide, scene.segmentation.mask, Edges::kPicture);
  }
}

void RefineRows(benchmark::State& state) {
  Scene scene(state);
  Guide guide;
  MaskRefiner refiner;
  MakeGuide(scene.segmentation.picture, guide);
  Plane<uint8_t> rows(scene.width, 2);
  refiner.Open(AsConst(scene.frame), guide, scene.segmentation.mask, Edges::kPicture);
  for (auto _ : state) {
    for (int pair = 0; pair < scene.height / 2; ++pair) refiner.RowPair(pair, rows.Row(0), rows.Row(1));
  }
}

void Calm(benchmark::State& state) {
  Scene scene(state);
  Guide guide;
  MaskCalmer calmer;
  MakeGuide(scene.segmentation.picture, guide);
  const Plane<uint8_t> row(scene.width, 1);
  for (auto _ : state) {
    calmer.Open(guide, scene.width, scene.height, 1);
    for (int y = 0; y < scene.height; ++y) calmer.Row(y, row.Row(0));
  }
}

// The whole second stage.
void Compose(benchmark::State& state) {
  Scene scene(state);
  Composer composer(Edges::kPicture, 1, 0);
  composer.backdrop().Set(kBackgrounds[state.range(2)]);
  for (auto _ : state) composer.Compose(AsConst(scene.frame), scene.segmentation, scene.frame);
}

// From frame to finished frame, with the next frame's mask beside it or not.
void Frames(benchmark::State& state) {
  pexoHostEngineSetThreads(1);
  Scene scene(state);
  Compositor whole({.model = kModels[1], .has_worker = state.range(2) != 0});
  whole.Begin(AsConst(scene.frame));
  std::vector<uint8_t> result(scene.pixels.size());
  Frame output = scene.frame;
  output.plane[1] = result.data() + (scene.frame.plane[1] - scene.frame.plane[0]);
  output.plane[0] = result.data();
  for (auto _ : state) {
    whole.Begin(AsConst(scene.frame));
    whole.Finish(output);
  }
}

void ForEachSize(benchmark::internal::Benchmark* each) {
  for (const auto& size : kSizes) each->Args({size[0], size[1]});
}
void ForEachSizeAndBackground(benchmark::internal::Benchmark* each) {
  for (const auto& size : kSizes) {
    for (int i = 0; i < 4; ++i) each->Args({size[0], size[1], i});
  }
}
void ForEachSizeAndWorker(benchmark::internal::Benchmark* each) {
  for (const auto& size : kSizes) {
    for (const int worker : {0, 1}) each->Args({size[0], size[1], worker});
  }
}

BENCHMARK(LibraryCall)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Shrink)->Apply(ForEachSize)->Unit(benchmark::kMillisecond);
BENCHMARK(Fit)->Apply(ForEachSize)->Unit(benchmark::kMillisecond);
BENCHMARK(RefineRows)->Apply(ForEachSize)->Unit(benchmark::kMillisecond);
BENCHMARK(Calm)->Apply(ForEachSize)->Unit(benchmark::kMillisecond);
BENCHMARK(Compose)->Apply(ForEachSizeAndBackground)->Unit(benchmark::kMillisecond);
BENCHMARK(Frames)->Apply(ForEachSizeAndWorker)->UseRealTime()->Unit(benchmark::kMillisecond);

void PrintTable(const Medians& medians) {
  std::printf("Finished pictures, one thread, medians of one run\n");
  for (int i = 0; i < 2; ++i) {
    PrintRow(std::string("The library's call on the small copy, ") + kModelNames[i],
             medians.at("LibraryCall/" + std::to_string(i)));
  }
  for (const auto& size : kSizes) {
    const std::string name = std::to_string(size[0]) + "x" + std::to_string(size[1]);
    const std::string arguments =
        std::string("/").append(std::to_string(size[0])).append("/").append(std::to_string(size[1]));
    PrintRow(name + ": shrinking (before the call)", medians.at("Shrink" + arguments));
    PrintRow("  fitting the guided filter", medians.at("Fit" + arguments));
    PrintRow("  refining, all rows", medians.at("RefineRows" + arguments));
    PrintRow("  calming, all rows", medians.at("Calm" + arguments));
    for (int i = 0; i < 4; ++i) {
      PrintRow(std::string("  everything after the call, ") + kBackgroundNames[i],
               medians.at("Compose" + arguments + "/" + std::to_string(i)));
    }
    PrintRatio("  blur beside the library's call, 256x256",
               medians.at("Compose" + arguments + "/0") / medians.at("LibraryCall/0"), size[1] == 720 ? 1.0 : 2.2);
    PrintRow("  a frame with blur, one thread", medians.at("Frames" + arguments + "/0"));
    PrintRow("  a frame with blur, the next one's mask beside it", medians.at("Frames" + arguments + "/1"));
  }
}

}  // namespace
}  // namespace pexo::bench

int main(int argc, char** argv) {
  HumanBodySegHandle* handle = pexoHumanBodySegCreate();
  pexoHumanBodySegSetLogLevel(handle, 0);
  pexoHumanBodySegDestroy(handle);
  return pexo::bench::Main(argc, argv, pexo::bench::PrintTable);
}
