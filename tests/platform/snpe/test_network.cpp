// SPDX-License-Identifier: Apache-2.0
// The executor: what it computes at a picture's edges, and what it does where memory or time would run out.
#include <flatbuffers/flatbuffers.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <new>

#include "engine/error.h"
#include "engine/graph_check.h"
#include "engine/half.h"
#include "engine/model.h"
#include "engine/tflite_reader.h"
#include "engine/xnn_network.h"
#include "graph_builder.h"
#include "session.h"
#include "tflite_generated.h"

namespace pexo::test {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kHasOwnMemory = false;
#else
constexpr bool kHasOwnMemory = !PEXO_EMULATED;  // shared with no emulator
#endif

// One direction of a convolution with "same" padding: the smaller half of what the last window lacks, if it lacks
// anything, goes before the input.
struct Axis {
  size_t size, kernel, stride;
  size_t Count() const { return (size + stride - 1) / stride; }
  // Where output `at` reads with place `tap` of its window; beyond the size where that is padding.
  size_t At(size_t at, size_t tap) const {
    const size_t covered = (Count() - 1) * stride + kernel;
    return at * stride + tap - (covered > size ? (covered - size) / 2 : 0);
  }
};

// Of two channels to two.
float PlainConvolution(const Axis& rows, const Axis& columns, size_t y, size_t x, size_t channel, bool depthwise) {
  float sum = 0;
  for (size_t tap = 0; tap < rows.kernel * columns.kernel * 2; ++tap) {
    const size_t row = rows.At(y, tap / 2 / columns.kernel), column = columns.At(x, tap / 2 % columns.kernel);
    if (row >= rows.size || column >= columns.size || (depthwise && tap % 2 != channel)) continue;
    const size_t filter = depthwise ? 0 : channel * rows.kernel * columns.kernel * 2;
    sum += Value((row * columns.size + column) * 2 + tap % 2) * Value(filter + tap);
  }
  return sum / static_cast<float>(rows.kernel * (depthwise ? 1 : 2));
}

TEST(Network, SamePaddingAtEverySize) {
  for (size_t place = 0; place < 9 * 4 * 5; ++place) {
    const Axis rows{place / 20 + 1, place % 5 + 1, place / 5 % 4 + 1};
    const Axis columns{9 - place / 20, place % 4 + 2, place / 4 % 4 + 1};
    for (const bool depthwise : {false, true}) {
      std::ostringstream word;
      word << (depthwise ? "d0," : "c2,") << rows.kernel << 'x' << columns.kernel << '/' << rows.stride << 'x'
           << columns.stride;
      SCOPED_TRACE(word.str() + " of " + std::to_string(rows.size) + "x" + std::to_string(columns.size));
      engine::XnnNetwork network(GraphBuilder({1, rows.size, columns.size, 2}).Add(word.str()).graph, 1);
      for (size_t i = 0; i < network.Input().size(); ++i) network.Input()[i] = Value(i);
      network.Invoke();
      for (size_t i = 0; i < network.Output().size(); ++i) {
        const size_t pixel = i / 2;
        ASSERT_NEAR(network.Output()[i],
                    PlainConvolution(rows, columns, pixel / columns.Count(), pixel % columns.Count(), i % 2, depthwise),
                    1e-5);
      }
    }
  }
}

TEST(Network, HalvesAreReadExactly) {
  for (const auto& [half, value] :
       {std::pair(0x0001, 0x1p-24f), {0xBC01, -0x1.004p0f}, {0x7BFF, 65504.0f}, {0xFC00, -HUGE_VALF}}) {
    EXPECT_EQ(engine::HalfToFloat(static_cast<uint16_t>(half)), value) << half;
  }
}

bool LoadAndRun(const char* path) {
  const auto container = zdl::DlContainer::IDlContainer::open(std::string(path));
  auto network = container != nullptr ? Build(container.get()) : nullptr;
  return network != nullptr && network->getInputTensorNames() && network->getOutputTensorNames() &&
         Session(std::move(network)).Execute();
}

TEST(Network, NoMemoryLimitEndsTheProcess) {
  if (!kHasOwnMemory) GTEST_SKIP();
  int successes = 0, refusals = 0;
  for (rlim_t more = 0; successes < 3; more += 128 << 10) {
    const pid_t child = fork();
    if (child == 0) {
      rlim_t pages = 0;
      std::ifstream("/proc/self/statm") >> pages;
      const rlimit limit{pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + more, RLIM_INFINITY};
      setrlimit(RLIMIT_AS, &limit);
      try {
        _exit(LoadAndRun(PEXO_MODELS_DIR "/MoviePortraitBig.dlc") ? 0 : 1);
      } catch (const std::bad_alloc&) {
        _exit(1);
      }
    }
    int status;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) <= 1) << more << " bytes more than at the start";
    ++(WEXITSTATUS(status) == 0 ? successes : refusals);
  }
  EXPECT_GT(refusals, 10);
}

// Why something is refused; "" if it is not.
template <typename Body>
std::string Refusal(Body body) {
  try {
    body();
    return "";
  } catch (const engine::Error& error) {
    return error.what();
  }
}

// Since the process began.
void ExpectLittleWasTaken() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  EXPECT_LT(usage.ru_utime.tv_sec, 10 * PEXO_SLOWNESS);
  EXPECT_TRUE(!kHasOwnMemory || usage.ru_maxrss < 400 << 10) << usage.ru_maxrss << " KiB";
}

// Small files stand for all of these; the ones that are accepted are as large as each bound lets them be.
TEST(Network, WhatAGraphStandsForIsBounded) {
  const struct {
    engine::Shape input;
    const char* words;
    int count;  // of the words, with one filter for all
    const char* refusal;
  } cases[] = {
      {{1, 512, 512, 1}, "c1,128x128", 1, "windows and resizes"},
      {{1, 22, 22, 16}, "c16,128x128", 1, ""},
      {{1, 8, 8, 512}, "c512,3x3", 24, "filters are too large"},
      {{1, 8, 8, 512}, "c512,3x3", 7, ""},
      {{1, 8, 8, 1000}, "d0,64x64", 1, "filters are too large"},
      {{1, 8, 8, 40}, "d0,64x64", 1, ""},
      {{1, 256, 256, 64}, "c64,3x3", 2, "too much work"},
      {{1, 256, 256, 64}, "c64,3x3", 1, ""},
      {{1, 2, 2, 1}, "r4000x4000", 6, "results are too large"},
      {{1, 2, 2, 1}, "r2000x2000", 6, "windows and resizes"},
      {{1, 2, 2, 1}, "r520x520", 6, ""},
      // Each gate is given a table to run faster.
      {{1, 2, 1 << 19, 1}, "p m0 p m2 p m4 p m6 p m8", 1, "windows and resizes"},
      {{1, 2, 1 << 19, 1}, "p m0 p m2 p m4", 1, ""},
      {{1, 4, 4, 1 << 20}, "p", 1, "too many channels"},
      {{1, 4, 4, 1 << 14}, "p", 1, ""},
  };
  for (const auto& [input, words, count, expected] : cases) {
    GraphBuilder builder(input);
    for (int i = 0; i < count; ++i) {
      engine::Node& node = builder.Add(words).graph.nodes.back();
      if (i == 0 || node.inputs.size() < 3) continue;
      builder.graph.tensors[static_cast<size_t>(node.inputs[1])] = {{1}, false, {}};
      node.inputs[1] = builder.graph.nodes[0].inputs[1];
    }
    const std::string refusal = Refusal([&] {
      CheckGraph(builder.graph);
      PrepareGraph(builder.graph, engine::Rewrites::kAll);
      engine::XnnNetwork(std::move(builder.graph), 1).Invoke();
    });
    EXPECT_TRUE(*expected == 0 ? refusal.empty() : refusal.find(expected) != std::string::npos) << words << refusal;
  }
  ExpectLittleWasTaken();
}

TEST(Network, NamesAreNotCopied) {
  flatbuffers::FlatBufferBuilder file;
  const auto name = file.CreateString(std::string(1 << 20, 'n'));
  std::vector<flatbuffers::Offset<tflite::Tensor>> tensors(4000);
  for (auto& tensor : tensors) tensor = tflite::CreateTensor(file, 0, tflite::TensorType::FLOAT32, 0, name);
  const auto buffer = tflite::CreateBuffer(file);
  const auto subgraph = tflite::CreateSubGraph(file, file.CreateVector(tensors));
  file.Finish(tflite::CreateModel(file, 3, 0, file.CreateVector(&subgraph, 1), 0, file.CreateVector(&buffer, 1)),
              tflite::ModelIdentifier());
  EXPECT_EQ(Refusal([&] {
              engine::ReadTflite({file.GetBufferPointer(), file.GetSize()});
            }),
            "the model has no operators, or too many");
  ExpectLittleWasTaken();
}

}  // namespace
}  // namespace pexo::test
