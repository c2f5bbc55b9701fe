// SPDX-License-Identifier: Apache-2.0
// The pipelines: frames a second and lateness of every effect with the real model, throughput and waiting times with an
// engine whose prediction takes a set time, and what an idle pipeline costs.
#include <pexo_host/engine.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "blur/background_blur.h"
#include "common/log.h"
#include "pexo/humanbodyseg.h"
#include "pipeline/multiply_thread_network.h"
#include "pipeline/sequence_thread_network.h"
#include "tests/support/test_image.h"

namespace pexo::bench {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

// Sleeps most of the time and spins the rest: a sleep alone overshoots.
void TakeUntil(Clock::time_point end) {
  std::this_thread::sleep_until(end - microseconds(300));
  while (Clock::now() < end) {
  }
}

constexpr char kBigModel[] = PEXO_MODELS_DIR "/MoviePortraitBig.dlc";
constexpr int kSizes[][2] = {{640, 480}, {1280, 720}, {1920, 1080}};

double Milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// The geometry and the copies of the real network; the prediction sleeps. Everybody stands in the middle.
class TimedNetwork : public Network {
 public:
  explicit TimedNetwork(microseconds prediction) : prediction_(prediction) {
    input_height = input_width = output_height = output_width = 256;
    input_channels = 3;
    output_channels = 2;
    input_.resize(size_t{256} * 256 * 3);
  }
  int32_t Uninit() override { return kNetworkOk; }
  int32_t SetInput(const QmxImage& image) override {
    picked_up = Clock::now();
    std::memcpy(input_.data(), image.plane[0], input_.size());
    return kNetworkOk;
  }
  int32_t Predict() override {
    TakeUntil(Clock::now() + prediction_);
    predicted = Clock::now();
    return kNetworkOk;
  }
  int32_t GetOutput(QmxImage& image) override {
    fetched = Clock::now();
    for (size_t i = 0; i < size_t{256} * 256; ++i) image.plane[0][i] = (i % 256) / 64 % 3 == 0 ? 0 : 255;
    return kNetworkOk;
  }

  // Moments of the last frame; read them while the pipeline is idle.
  Clock::time_point picked_up, predicted, fetched;

 private:
  microseconds prediction_;
  std::vector<uint8_t> input_;
};

// A head and shoulders in front of noise: enough for the model to see somebody.
test::TestImage Portrait(int32_t width, int32_t height) {
  test::TestImage image = test::TestImage::Noise(width, height, 1);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const double dx = (x - width / 2.0) / height, dy = static_cast<double>(y) / height;
      const double head = dx * dx / 0.0225 + (dy - 0.35) * (dy - 0.35) / 0.04;
      const double shoulders = dx * dx / 0.16 + (dy - 1.0) * (dy - 1.0) / 0.16;
      if (head > 1 && shoulders > 1) {
        image.plane[0][y * width + x] = static_cast<uint8_t>(60 + image.plane[0][y * width + x] / 16);
        image.plane[1][y / 2 * width + x] = 128;
        continue;
      }
      const bool eye = head <= 1 && dy > 0.29 && dy < 0.32 && std::abs(std::abs(dx) - 0.055) < 0.022;
      const bool mouth = head <= 1 && dy > 0.435 && dy < 0.455 && std::abs(dx) < 0.05;
      const bool hair = head <= 1 && dy < 0.24;
      image.plane[0][y * width + x] = eye || hair ? 40 : mouth ? 110 : head <= 1 ? 185 : 90;
      image.plane[1][y / 2 * width + x] = head > 1 ? 128 : (x % 2 == 0 ? 150 : 110);  // V, U of skin
    }
  }
  return image;
}

struct Speed {
  double frames_per_second;
  int lateness;  // calls until the first frame comes back
};

// Through the nine functions, frames back to back. The bottom-left pixel tells the frames apart: neither effect touches
// its luma.
Speed RunEffect(int32_t effect, const int (&size)[2]) {
  pexoHostEngineSetThreads(1);
  HumanBodySegHandle* handle = pexoHumanBodySegCreate();
  pexoHumanBodySegSetParam(handle, PARAM_EFFECT_MODE, &effect);
  pexoHumanBodySegSetParam(handle, PARAM_MODEL_PATH, kBigModel);
  if (pexoHumanBodySegInit(handle) != HUMANBODYSEG_OK) throw std::runtime_error("Init failed");
  const test::TestImage portrait = Portrait(size[0], size[1]);
  test::TestImage frame(portrait);
  uint8_t& tag = frame.At(0, size[1] - 1, 0);
  const auto process = [&](int call) {
    frame.pixels = portrait.pixels;
    tag = static_cast<uint8_t>(call % 200);
    if (pexoHumanBodySegProcess(handle, &frame, nullptr) != HUMANBODYSEG_OK) {
      throw std::runtime_error("Process failed");
    }
  };
  int call = 0;
  for (; call < 10; ++call) process(call);
  const int lateness = effect == HUMANBODYSEG_EFFECT_MASK ? 0 : call - 1 - tag;
  const auto start = Clock::now();
  const int first = call;
  while (Clock::now() - start < milliseconds(1500)) process(call++);
  const double seconds = Milliseconds(Clock::now() - start) / 1e3;
  if (pexoHumanBodyGetExecuteTime(handle) <= 0) throw std::runtime_error("nobody was seen in the frames");
  pexoHumanBodySegUninit(handle);
  pexoHumanBodySegDestroy(handle);
  return {(call - first) / seconds, lateness};
}

template <typename Pipeline>
struct Rig {
  explicit Rig(microseconds prediction) : network(std::make_shared<TimedNetwork>(prediction)) {
    pipeline.networks.push_back(network);
  }
  ~Rig() { pipeline.Uninit(); }
  void Feed() { pipeline.Process(frame, params, mask); }

  Pipeline pipeline;
  std::shared_ptr<TimedNetwork> network;
  static constexpr bool kBlurs = std::is_same_v<Pipeline, SequenceThreadNetwork>;
  test::TestImage frame{1280, 720}, mask{kBlurs ? 128 : 1280, kBlurs ? 128 : 720, kFormatGray8};
  FrameParams params;
};

// Frames per prediction time, frames back to back; 1 is the ideal.
template <typename Pipeline>
double Throughput() {
  static constexpr milliseconds kPrediction{8}, kBlur{4};
  constexpr int kFrames = 250;
  Rig<Pipeline> rig(kPrediction);
  if constexpr (std::is_same_v<Pipeline, SequenceThreadNetwork>) {
    rig.pipeline.blur = [](const auto& frame, auto& output, const auto& mask, float strength) {
      const auto end = Clock::now() + kBlur;
      const bool composed = TryComposeBackgroundBlur(frame, output, mask, strength);
      TakeUntil(end);
      return composed;
    };
  }
  for (int i = 0; i < 10; ++i) rig.Feed();
  const auto start = Clock::now();
  for (int i = 0; i < kFrames; ++i) rig.Feed();
  const double each = Milliseconds(Clock::now() - start) / kFrames;
  return Milliseconds(kPrediction) / each;
}

// From a call's return, which submitted a frame, to the idle worker's first step on it.
double PickUpMilliseconds() {
  Rig<SequenceThreadNetwork> rig(milliseconds(1));
  std::vector<double> waits;
  for (int i = 0; i < 100; ++i) {
    rig.Feed();
    const auto submitted = Clock::now();
    std::this_thread::sleep_for(milliseconds(12));
    if (i >= 10) waits.push_back(Milliseconds(rig.network->picked_up - submitted));
  }
  return Median(waits);
}

// From the end of a prediction to the waiting caller's first step on its result.
double HandBackMilliseconds() {
  Rig<MultiplyThreadNetwork> rig(milliseconds(8));
  std::vector<double> waits;
  for (int i = 0; i < 100; ++i) {
    rig.Feed();
    if (i >= 10) waits.push_back(Milliseconds(rig.network->fetched - rig.network->predicted));
  }
  return Median(waits);
}

struct Use {
  double seconds;   // of processor time
  double wake_ups;  // after waits
};

Use UsedSoFar() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return {static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
              static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6,
          static_cast<double>(usage.ru_nvcsw)};
}

// Per second of an idle pipeline.
Use IdleUse() {
  Rig<SequenceThreadNetwork> rig(milliseconds(1));
  for (int i = 0; i < 5; ++i) rig.Feed();
  std::this_thread::sleep_for(milliseconds(100));
  const Use before = UsedSoFar();
  std::this_thread::sleep_for(std::chrono::seconds(5));
  const Use after = UsedSoFar();
  return {(after.seconds - before.seconds) / 5, (after.wake_ups - 1 - before.wake_ups) / 5};  // but for this thread's
}

void PrintTable() {
  std::printf("Real model, one engine thread, frames back to back\n");
  std::printf("  %-11s %18s %18s %18s\n", "", "colour", "blur", "mask");
  for (const auto& size : kSizes) {
    std::printf("  %4dx%-4d  ", size[0], size[1]);
    for (const int32_t effect : {HUMANBODYSEG_EFFECT_COLOUR, HUMANBODYSEG_EFFECT_BLUR, HUMANBODYSEG_EFFECT_MASK}) {
      const Speed speed = RunEffect(effect, size);
      std::printf(" %6.0f/s, %d call%s", speed.frames_per_second, speed.lateness, speed.lateness == 1 ? " " : "s");
    }
    std::printf("\n");
  }
  std::printf("Engine with a prediction of 8 ms, blur of 4 ms, 1280x720, frames back to back\n");
  std::printf("  %-56s %6.3f   (bar: at least 0.95)\n", "Blur: frames per prediction time",
              Throughput<SequenceThreadNetwork>());
  std::printf("  %-56s %6.3f   (bar: at least 0.90)\n", "Colour: frames per prediction time",
              Throughput<MultiplyThreadNetwork>());
  std::printf("Waiting, medians\n");
  std::printf("  %-56s %6.3f ms   (bar: at most 0.2)\n", "Submitted frame to idle worker", PickUpMilliseconds());
  std::printf("  %-56s %6.3f ms   (bar: at most 0.2)\n", "Finished frame to waiting caller", HandBackMilliseconds());
  const Use idle = IdleUse();
  std::printf("  %-56s %6.2f %%    (bar: below 2)\n", "Idle pipeline, share of one core", 100 * idle.seconds);
  std::printf("  %-56s %6.1f /s   (bar: below 1)\n", "Idle pipeline, wake-ups", idle.wake_ups);
}

}  // namespace
}  // namespace pexo::bench

int main(int argc, char** argv) {
  if (argc != 2 || std::strcmp(argv[1], "--table") != 0) {
    std::fprintf(stderr, "usage: bench_pipeline --table\n");
    return 2;
  }
  pexo::log_level = 0;
  try {
    pexo::bench::PrintTable();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench_pipeline: %s\n", error.what());
    return 1;
  }
  return 0;
}
