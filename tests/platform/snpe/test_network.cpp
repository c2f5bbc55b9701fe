// The executor: what it computes at a picture's edges, and what it does where memory or time would run out.
#include <flatbuffers/flatbuffers.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <new>

#include "engine/error.h"
#include "engine/graph_check.h"
#include "engine/graph_cost.h"
#include "engine/tflite_reader.h"
#include "engine/xnn_network.h"
#include "session.h"
#include "tflite_generated.h"

namespace pexo::test {
namespace {

using engine::Graph;
using engine::Node;
using engine::Operation;
using engine::Shape;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;  // memory is counted otherwise then
#else
constexpr bool kSanitized = false;
#endif

float Value(size_t index) {
  return (static_cast<float>(index * 7 % 11) - 5) / 4;
}

// A graph that grows at its end.
struct Chain {
  explicit Chain(const Shape& input) { graph.input = graph.output = Tensor(input); }

  int32_t Tensor(const Shape& shape, bool constant = false) {
    graph.tensors.push_back({shape, constant, {}});
    if (constant) {
      std::vector<float>& values = graph.tensors.back().values;
      values.resize(engine::CountElements(shape, SIZE_MAX) + XNN_EXTRA_BYTES / sizeof(float));
      for (size_t i = 0; i < values.size(); ++i) values[i] = Value(i);
    }
    return static_cast<int32_t>(graph.tensors.size() - 1);
  }
  int32_t Constant(const Shape& shape) { return Tensor(shape, true); }

  Node& Add(Operation operation, const Shape& output, const std::vector<int32_t>& operands = {}) {
    Node node;
    node.operation = operation;
    node.inputs = {graph.output};
    node.inputs.insert(node.inputs.end(), operands.begin(), operands.end());
    node.output = graph.output = Tensor(output);
    graph.nodes.push_back(node);
    return graph.nodes.back();
  }

  Graph graph;
};

// Output pixel `at` reads the input from `at` * stride - before, where "same" padding puts the smaller half of what the
// last window lacks, if it lacks anything.
struct Axis {
  size_t size, kernel, stride;
  size_t Count() const { return (size + stride - 1) / stride; }
  ptrdiff_t First(size_t at) const {
    const auto lacking = static_cast<ptrdiff_t>((Count() - 1) * stride + kernel) - static_cast<ptrdiff_t>(size);
    return static_cast<ptrdiff_t>(at * stride) - std::max(lacking, ptrdiff_t{0}) / 2;
  }
};

float PlainConvolution(const Axis& rows, const Axis& columns, size_t y, size_t x, size_t channel, bool depthwise) {
  float sum = 0;
  for (size_t i = 0; i < rows.kernel; ++i) {
    for (size_t j = 0; j < columns.kernel; ++j) {
      const ptrdiff_t row = rows.First(y) + static_cast<ptrdiff_t>(i);
      const ptrdiff_t column = columns.First(x) + static_cast<ptrdiff_t>(j);
      if (row < 0 || column < 0 || std::cmp_greater_equal(row, rows.size) ||
          std::cmp_greater_equal(column, columns.size)) {
        continue;
      }
      const size_t pixel = static_cast<size_t>(row) * columns.size + static_cast<size_t>(column);
      for (size_t k = 0; k < 2; ++k) {
        if (depthwise && k != channel) continue;
        const size_t window = (depthwise ? 0 : channel * rows.kernel) + i;
        sum += Value(pixel * 2 + k) * Value((window * columns.kernel + j) * 2 + k);
      }
    }
  }
  return sum;
}

TEST(Network, SamePaddingAtEverySize) {
  for (size_t place = 0; place < 5 * 4 * 9; ++place) {
    const Axis rows{place / 20 + 1, place % 5 + 1, place / 5 % 4 + 1};
    const Axis columns{9 - place / 20, place % 4 + 2, place / 4 % 4 + 1};
    for (const bool depthwise : {false, true}) {
      Chain chain({1, rows.size, columns.size, 2});
      Node& node = chain.Add(depthwise ? Operation::kDepthwiseConvolution : Operation::kConvolution,
                             {1, rows.Count(), columns.Count(), 2},
                             {chain.Constant({depthwise ? 1u : 2u, rows.kernel, columns.kernel, 2}), engine::kAbsent});
      node.stride_height = rows.stride;
      node.stride_width = columns.stride;
      CheckGraph(chain.graph);
      engine::XnnNetwork network(chain.graph, 1);
      for (size_t i = 0; i < network.Input().size(); ++i) network.Input()[i] = Value(i);
      network.Invoke();
      for (size_t i = 0; i < network.Output().size(); ++i) {
        ASSERT_NEAR(network.Output()[i],
                    PlainConvolution(rows, columns, i / 2 / columns.Count(), i / 2 % columns.Count(), i % 2, depthwise),
                    1e-5)
            << "rows " << rows.size << ", kernel " << rows.kernel << ", stride " << rows.stride << "; columns "
            << columns.size << ", kernel " << columns.kernel << ", stride " << columns.stride << "; value " << i
            << (depthwise ? ", depthwise" : "");
      }
    }
  }
}

// How a child process ends that runs `body`, which returns nothing or why it was refused.
struct Outcome {
  std::string refusal;
  int status;
  rusage usage;
};
template <typename Body>
Outcome RunInChild(Body body) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    char text[256] = "";
    try {
      std::snprintf(text, sizeof(text), "%s", body().c_str());
    } catch (const std::bad_alloc&) {
      std::snprintf(text, sizeof(text), "out of memory");
    }
    _exit(write(ends[1], text, sizeof(text)) == sizeof(text) ? 0 : 1);
  }
  close(ends[1]);
  Outcome outcome;
  wait4(child, &outcome.status, 0, &outcome.usage);
  char text[256] = "";
  EXPECT_TRUE(outcome.status != 0 || read(ends[0], text, sizeof(text)) > 0);
  close(ends[0]);
  outcome.refusal = text;
  return outcome;
}

std::string LoadAndRun(const char* path) {
  const auto container = zdl::DlContainer::IDlContainer::open(std::string(path));
  if (container == nullptr) return LastError();
  auto network = Build(container.get());
  if (network == nullptr) return LastError();
  if (!network->getInputTensorNames() || !network->getOutputTensorNames()) return LastError();
  Session session(std::move(network));
  return session.Execute() ? "" : LastError();
}

TEST(Network, NoMemoryLimitEndsTheProcess) {
  if (kSanitized) GTEST_SKIP() << "limits of address space do not go with a sanitizer's shadow";
  int successes = 0, refusals = 0;
  for (rlim_t more = 0; successes < 3; more += 128 << 10) {
    const Outcome outcome = RunInChild([&] {
      rlim_t pages = 0;
      FILE* statm = std::fopen("/proc/self/statm", "r");
      EXPECT_EQ(std::fscanf(statm, "%lu", &pages), 1);
      std::fclose(statm);
      const rlimit limit{pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + more, RLIM_INFINITY};
      setrlimit(RLIMIT_AS, &limit);
      return LoadAndRun(PEXO_MODELS_DIR "/MoviePortraitBig.dlc");
    });
    EXPECT_EQ(outcome.status, 0) << "a signal with " << more << " bytes more than at the start";
    ++(outcome.refusal.empty() ? successes : refusals);
    ASSERT_LT(more, rlim_t{1} << 30);
  }
  EXPECT_GT(refusals, 10);
}

std::string BuildAndRun(const Graph& graph) {
  try {
    CheckGraph(graph);
    CheckCost(graph);
    engine::XnnNetwork(graph, 1).Invoke();
    return "";
  } catch (const engine::Error& error) {
    return error.what();
  }
}

Graph Convolutions(const Shape& input, const Shape& filter, int count, bool depthwise = false) {
  Chain chain(input);
  const int32_t shared = chain.Constant(filter);
  for (int i = 0; i < count; ++i) {
    chain.Add(depthwise ? Operation::kDepthwiseConvolution : Operation::kConvolution,
              {1, input[1], input[2], depthwise ? input[3] : filter[0]}, {shared, engine::kAbsent});
  }
  return chain.graph;
}

Graph Resizes(size_t size, int count) {
  Chain chain({1, 2, 2, 1});
  for (int i = 0; i < count; ++i) {
    Node& node = chain.Add(Operation::kResizeBilinear, {1, size, size, 1});
    node.new_height = node.new_width = size;
  }
  return chain.graph;
}

Graph Pool(size_t channels) {
  Chain chain({1, 4, 4, channels});
  chain.Add(Operation::kGlobalAveragePool, {1, 1, 1, channels});
  return chain.graph;
}

// Small files stand for all of these; the ones that are accepted are as large as each bound lets them be.
TEST(Network, WhatAGraphStandsForIsBounded) {
  const struct {
    Graph graph;
    const char* refusal;
  } cases[] = {
      {Convolutions({1, 512, 512, 1}, {1, 128, 128, 1}, 1), "windows and resizes"},
      {Convolutions({1, 22, 22, 16}, {16, 128, 128, 16}, 1), ""},
      {Convolutions({1, 8, 8, 512}, {512, 3, 3, 512}, 24), "filters are too large"},
      {Convolutions({1, 8, 8, 512}, {512, 3, 3, 512}, 7), ""},
      {Convolutions({1, 8, 8, 1000}, {1, 64, 64, 1000}, 1, true), "filters are too large"},
      {Convolutions({1, 8, 8, 40}, {1, 64, 64, 40}, 1, true), ""},
      {Convolutions({1, 256, 256, 64}, {64, 3, 3, 64}, 2), "too much work"},
      {Convolutions({1, 256, 256, 64}, {64, 3, 3, 64}, 1), ""},
      {Resizes(4000, 6), "results are too large"},
      {Resizes(2000, 6), "windows and resizes"},
      {Resizes(520, 6), ""},
      {Pool(1 << 20), "too many channels"},
      {Pool(1 << 14), ""},
  };
  for (const auto& [graph, refusal] : cases) {
    const Outcome outcome = RunInChild([&graph = graph] { return BuildAndRun(graph); });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.refusal.empty(), *refusal == 0) << outcome.refusal;
    EXPECT_NE(outcome.refusal.find(refusal), std::string::npos) << outcome.refusal << " instead of " << refusal;
    EXPECT_LT(outcome.usage.ru_utime.tv_sec, 10);
    EXPECT_TRUE(kSanitized || outcome.usage.ru_maxrss < 400 << 10) << outcome.usage.ru_maxrss << " KiB";
  }
}

// 4,000 tensors of one name.
TEST(Network, NamesAreNotCopied) {
  flatbuffers::FlatBufferBuilder file;
  const auto name = file.CreateString(std::string(1 << 20, 'n'));
  std::vector<flatbuffers::Offset<tflite::Tensor>> tensors(4000);
  for (auto& tensor : tensors) tensor = tflite::CreateTensor(file, 0, tflite::TensorType::FLOAT32, 0, name);
  const auto buffer = tflite::CreateBuffer(file);
  const auto subgraph = tflite::CreateSubGraph(file, file.CreateVector(tensors));
  file.Finish(tflite::CreateModel(file, 3, 0, file.CreateVector(&subgraph, 1), 0, file.CreateVector(&buffer, 1)),
              tflite::ModelIdentifier());
  const Outcome outcome = RunInChild([&]() -> std::string {
    try {
      engine::ReadTflite({file.GetBufferPointer(), file.GetSize()});
      return "";
    } catch (const engine::Error& error) {
      return error.what();
    }
  });
  EXPECT_EQ(outcome.refusal, "the model has no operators, or too many");
  EXPECT_TRUE(kSanitized || outcome.usage.ru_maxrss < 400 << 10) << outcome.usage.ru_maxrss << " KiB";
}

}  // namespace
}  // namespace pexo::test
