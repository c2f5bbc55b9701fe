// Damaged models and containers: an error, never a crash. What still builds also runs.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

#include "engine/container.h"
#include "model_writer.h"
#include "session.h"

namespace pexo::test {
namespace {

// Opens, builds and runs a container. True if all of it succeeds; a failure must have left its reason.
bool TryContainer(const std::vector<uint8_t>& bytes) {
  const auto container = zdl::DlContainer::IDlContainer::open(bytes);
  const auto failed = [] {
    EXPECT_STRNE(zdl::DlSystem::getLastErrorString(), "");
    return false;
  };
  if (container == nullptr) return failed();
  auto network = BuildNetwork(container.get());
  if (network == nullptr) return failed();
  EXPECT_TRUE(Session(std::move(network)).Execute()) << zdl::DlSystem::getLastErrorString();
  return true;
}

class Mutator {
 public:
  explicit Mutator(uint32_t seed) : random_(seed) {}

  size_t Below(size_t count) { return random_() % count; }

  // A number that is near the old one, or special.
  int32_t Number(int32_t old) {
    static constexpr int32_t kSpecial[] = {-1, 0, 1, 2, 3, 4, 7, 64, 1000, 65536, 1 << 24, INT32_MAX, INT32_MIN};
    return Below(2) == 0 ? static_cast<int32_t>(static_cast<uint32_t>(old) + static_cast<uint32_t>(Below(5)) - 2u)
                         : kSpecial[Below(std::size(kSpecial))];
  }

  template <typename T>
  void Change(std::vector<T>& list) {
    switch (Below(4)) {
      case 0:
        if (!list.empty()) list.erase(list.begin() + static_cast<std::ptrdiff_t>(Below(list.size())));
        break;
      case 1:
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(Below(list.size() + 1)), static_cast<T>(Number(1)));
        break;
      default:
        if (!list.empty()) {
          T& value = list[Below(list.size())];
          value = static_cast<T>(Number(static_cast<int32_t>(value)));
        }
    }
  }

  // One change of the model's structure.
  void Change(tflite::ModelT& model) {
    tflite::SubGraphT& graph = *model.subgraphs[0];
    tflite::TensorT& tensor = *graph.tensors[Below(graph.tensors.size())];
    auto& operation = graph.operators[Below(graph.operators.size())];
    auto& other = graph.operators[Below(graph.operators.size())];
    switch (Below(12)) {
      case 0:
        return Change(tensor.shape);
      case 1:
        tensor.type = static_cast<tflite::TensorType>(Below(5));
        return;
      case 2:
        tensor.buffer = static_cast<uint32_t>(Below(model.buffers.size() + 1));
        return;
      case 3:
        return Change(operation->inputs);
      case 4:
        return Change(operation->outputs);
      case 5:
        std::swap(operation, other);
        return;
      case 6:
        operation->opcode_index = other->opcode_index;
        return;
      case 7:
        return ChangeOptions(*operation);
      case 8:
        return Change(Below(2) == 0 ? graph.inputs : graph.outputs);
      case 9:
        if (model.buffers.size() > 1) Change(model.buffers[1 + Below(model.buffers.size() - 1)]->data);
        return;
      case 10:
        // The same dimension in two tensors, so that more changes agree with each other.
        if (tensor.shape.size() == 4) tensor.shape[Below(4)] = graph.tensors[0]->shape[Below(4)];
        return;
      case 11:
        std::swap(operation->inputs, other->inputs);
        return;
    }
  }

 private:
  void ChangeOptions(tflite::OperatorT& operation) {
    tflite::BuiltinOptionsUnion& options = operation.builtin_options;
    const auto number = [&](int32_t& value) { value = Number(value); };
    if (auto* convolution = options.AsConv2DOptions()) {
      number(Below(2) == 0 ? convolution->stride_h : convolution->stride_w);
      convolution->padding = static_cast<tflite::Padding>(Below(3));
      convolution->activation = static_cast<tflite::Activation>(Below(6));
    } else if (auto* depthwise = options.AsDepthwiseConv2DOptions()) {
      number(Below(2) == 0 ? depthwise->stride_h : depthwise->depth_multiplier);
      depthwise->padding = static_cast<tflite::Padding>(Below(3));
    } else if (auto* pool = options.AsPool2DOptions()) {
      number(Below(2) == 0 ? pool->filter_height : pool->stride_w);
      pool->padding = static_cast<tflite::Padding>(Below(3));
    } else if (auto* add = options.AsAddOptions()) {
      add->activation = static_cast<tflite::Activation>(Below(6));
    } else {
      Change(operation.custom_options);
    }
  }

  std::mt19937 random_;
};

constexpr engine::HeadKind kHeads[] = {engine::HeadKind::kTwoScores, engine::HeadKind::kLogitGrey};

TEST(Mutations, UnchangedModelRuns) {
  for (const engine::HeadKind head : kHeads) {
    EXPECT_TRUE(TryContainer(engine::WriteContainer(PackedModel(EveryOperatorModel().Bytes(), head))))
        << zdl::DlSystem::getLastErrorString();
  }
}

// Each rule that the executor relies on, broken alone; the reason names the rule.
TEST(Mutations, EveryRuleIsChecked) {
  using tflite::BuiltinOperator;
  using Break = std::function<void(tflite::SubGraphT&, tflite::ModelT&)>;
  // The operators of EveryOperatorModel by their positions; 0 only widens a constant.
  constexpr size_t kStem = 1, kRelu = 2, kDepthwise = 3, kSwish = 4, kPool = 5, kMean = 7, kResize = 11,
                   kTranspose = 12, kLast = 13;
  const auto constant = [](tflite::ModelT& model, uint32_t tensor) -> std::vector<uint8_t>& {
    return model.buffers[model.subgraphs[0]->tensors[tensor]->buffer]->data;
  };
  const struct {
    const char* reason;
    Break change;
  } cases[] = {
      {"version", [](auto&, auto& model) { model.version = 2; }},
      {"one subgraph", [](auto&, auto& model) { model.subgraphs.clear(); }},
      {"not supported",
       [](auto&, auto& model) { model.operator_codes[kSwish]->builtin_code = static_cast<BuiltinOperator>(2); }},
      {"custom", [](auto&, auto& model) { model.operator_codes[kTranspose]->custom_code = "Another"; }},
      {"no operator code", [](auto& graph, auto&) { graph.operators[kRelu]->opcode_index = 1000; }},
      {"out of range", [](auto& graph, auto&) { graph.operators[kRelu]->inputs[0] = 1000; }},
      {"missing", [](auto& graph, auto&) { graph.operators[kRelu]->inputs[0] = -1; }},
      {"number of inputs", [](auto& graph, auto&) { graph.operators[kSwish]->inputs.push_back(0); }},
      {"exactly one tensor", [](auto& graph, auto&) { graph.operators[kSwish]->outputs.clear(); }},
      {"options are missing", [](auto& graph, auto&) { graph.operators[kStem]->builtin_options.Reset(); }},
      {"stride", [](auto& graph, auto&) { graph.operators[kStem]->builtin_options.AsConv2DOptions()->stride_w = 0; }},
      {"dilation",
       [](auto& graph, auto&) { graph.operators[kStem]->builtin_options.AsConv2DOptions()->dilation_h = 2; }},
      {"whole picture",
       [](auto& graph, auto&) { graph.operators[kPool]->builtin_options.AsPool2DOptions()->filter_width = 1; }},
      {"keep_dims",
       [](auto& graph, auto&) { graph.operators[kMean]->builtin_options.AsReducerOptions()->keep_dims = false; }},
      {"half-pixel",
       [](auto& graph, auto&) {
         graph.operators[kResize]->builtin_options.AsResizeBilinearOptions()->align_corners = true;
       }},
      {"padding", [](auto& graph, auto&) { graph.operators[kTranspose]->custom_options[0] = 2; }},
      {"as large as the stride", [](auto& graph, auto&) { graph.operators[kTranspose]->custom_options[4] = 3; }},
      {"do not fit its shape",
       [&](auto& graph, auto& model) {
         constant(model, static_cast<uint32_t>(graph.operators[kDepthwise]->inputs[1])).pop_back();
       }},
      {"before it is written", [](auto& graph, auto&) { std::swap(graph.operators[kRelu], graph.operators[kStem]); }},
      {"written already",
       [](auto& graph, auto&) { graph.operators[kRelu]->outputs = graph.operators[kStem]->outputs; }},
      {"not used", [](auto& graph, auto&) { graph.operators[kLast]->inputs = graph.inputs; }},
      {"another shape",
       [](auto& graph, auto&) {
         graph.tensors[static_cast<size_t>(graph.operators[kTranspose]->outputs[0])]->shape[1]++;
       }},
      {"too large", [](auto& graph, auto&) { graph.tensors[0]->shape[1] = INT32_MAX; }},
      {"dimension below 1", [](auto& graph, auto&) { graph.tensors[0]->shape[2] = 0; }},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.reason);
    ModelWriter writer = EveryOperatorModel();
    test.change(*writer.model.subgraphs[0], writer.model);
    EXPECT_FALSE(TryContainer(engine::WriteContainer(PackedModel(writer.Bytes(), kHeads[0]))));
    EXPECT_NE(std::string(zdl::DlSystem::getLastErrorString()).find(test.reason), std::string::npos)
        << zdl::DlSystem::getLastErrorString();
  }
}

TEST(Mutations, ChangedStructureIsRefusedOrRuns) {
  constexpr uint32_t kCases = 6000;
  uint32_t ran = 0;
  for (uint32_t seed = 0; seed < kCases; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Mutator mutator(seed);
    ModelWriter writer = EveryOperatorModel();
    for (size_t changes = 1 + mutator.Below(4); changes > 0; --changes) mutator.Change(writer.model);
    ran += TryContainer(engine::WriteContainer(PackedModel(writer.Bytes(), kHeads[seed % 2])));
  }
  // Neither is the mutator blunt nor does everything fail at the first check.
  EXPECT_GT(ran, kCases / 100);
  EXPECT_LT(ran, kCases / 2);
}

TEST(Mutations, ChangedBytesAreRefusedOrRun) {
  const std::vector<uint8_t> model = EveryOperatorModel().Bytes();
  for (uint32_t seed = 0; seed < 6000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Mutator mutator(seed);
    std::vector<uint8_t> changed = model;
    for (size_t changes = 1 + mutator.Below(4); changes > 0; --changes) {
      changed[mutator.Below(changed.size())] = static_cast<uint8_t>(mutator.Number(128));
    }
    if (seed % 10 == 0) changed.resize(mutator.Below(changed.size()));
    TryContainer(engine::WriteContainer(PackedModel(std::move(changed), kHeads[seed % 2])));
  }
}

}  // namespace
}  // namespace pexo::test
