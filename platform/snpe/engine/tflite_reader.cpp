// SPDX-License-Identifier: Apache-2.0
#include "engine/tflite_reader.h"

#include <xnnpack.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/bounds.h"
#include "engine/error.h"
#include "engine/half.h"
#include "tflite_generated.h"

namespace pexo::engine {
namespace {

constexpr uint32_t kModelVersion = 3;

// A vector of the file, empty where the file has none.
template <typename T>
std::span<const T> View(const flatbuffers::Vector<T>* vector) {
  if (vector == nullptr) return {};
  return {vector->data(), vector->size()};
}

// The larger of the two fields holds: numbers below 127 stand in both, or in older files in the first alone.
tflite::BuiltinOperator Number(const tflite::OperatorCode& code) {
  return std::max(static_cast<tflite::BuiltinOperator>(code.deprecated_builtin_code()), code.builtin_code());
}

std::string_view CustomName(const tflite::OperatorCode& code) {
  const flatbuffers::String* name = code.custom_code();
  return name != nullptr ? std::string_view(name->data(), name->size()) : std::string_view();
}

// What messages call an operator.
std::string OperatorName(size_t index, const tflite::OperatorCode& code) {
  constexpr size_t kMaxLetters = 64;
  std::string name = tflite::EnumNameBuiltinOperator(Number(code));
  if (name.empty()) name = std::to_string(static_cast<int32_t>(Number(code)));
  if (Number(code) == tflite::BuiltinOperator::CUSTOM) {
    name += " \"" + std::string(CustomName(code).substr(0, kMaxLetters)) + "\"";
  }
  return "operator " + std::to_string(index) + " (" + name + ")";
}

class Reader {
 public:
  explicit Reader(const tflite::Model& model) : model_(model) {}

  Graph Read() {
    Require(model_.version() == kModelVersion, "the model's format version is not 3");
    Require(model_.subgraphs() != nullptr && model_.subgraphs()->size() == 1, "the model needs exactly one subgraph");
    const tflite::SubGraph& subgraph = *model_.subgraphs()->Get(0);
    ReadTensors(subgraph);
    ReadOperators(subgraph);
    graph_.input = OnlyTensor(View(subgraph.inputs()), "input");
    graph_.output = OnlyTensor(View(subgraph.outputs()), "output");
    for (const int32_t index : {graph_.input, graph_.output}) {
      Require(TensorOfFile(index).type() == tflite::TensorType::FLOAT32, "the model's input and output must be floats");
    }
    graph_.input_name = NameOf(graph_.input);
    graph_.output_name = NameOf(graph_.output);
    return std::move(graph_);
  }

 private:
  using TensorVector = flatbuffers::Vector<flatbuffers::Offset<tflite::Tensor>>;

  void ReadTensors(const tflite::SubGraph& subgraph) {
    tensors_ = subgraph.tensors();
    Require(tensors_ != nullptr && tensors_->size() <= kMaxTensors, "the model has no tensors, or too many");
    graph_.tensors.resize(tensors_->size());
    for (uint32_t i = 0; i < tensors_->size(); ++i) {
      const tflite::Tensor& source = *tensors_->Get(i);
      Tensor& tensor = graph_.tensors[i];
      const std::span<const int32_t> dimensions = View(source.shape());
      Require(dimensions.size() <= kMaxRank, "tensor ", std::to_string(i), " has too many dimensions");
      for (const int32_t dimension : dimensions) {
        Require(dimension > 0, "tensor ", std::to_string(i), " has a dimension below 1");
        tensor.shape.push_back(static_cast<size_t>(dimension));
      }
      Require(CountElements(tensor.shape, kMaxElements) > 0, "tensor ", std::to_string(i), " is too large");
      if (source.type() == tflite::TensorType::FLOAT32 && !Bytes(i).empty()) {
        const std::span<const uint8_t> bytes = Data(i, sizeof(float));
        std::memcpy(MakeConstant(tensor).data(), bytes.data(), bytes.size());
      }
    }
  }

  void ReadOperators(const tflite::SubGraph& subgraph) {
    const auto* operators = subgraph.operators();
    Require(operators != nullptr && operators->size() <= kMaxNodes, "the model has no operators, or too many");
    for (uint32_t i = 0; i < operators->size(); ++i) {
      const tflite::Operator& source = *operators->Get(i);
      const auto* codes = model_.operator_codes();
      Require(codes != nullptr && source.opcode_index() < codes->size(), "operator ", std::to_string(i),
              " has no operator code");
      ReadOperator(i, source, *codes->Get(source.opcode_index()));
    }
  }

  // How an operator of the file becomes a node.
  struct Rule {
    tflite::BuiltinOperator number;
    Operation operation;
    size_t required;  // operands that must be there
    size_t most;      // operands at all, constants of integers not counted
    void (Reader::*read_options)(Node& node, const tflite::Operator& source) = nullptr;
    bool integers = false;  // a constant of two integers follows the operands
    std::string_view custom_name = {};
  };

  static const Rule* FindRule(const tflite::OperatorCode& code) {
    using enum tflite::BuiltinOperator;
    static constexpr Rule kRules[] = {
        {CONV_2D, Operation::kConvolution, 2, 3, &Reader::ReadConvolution},
        {DEPTHWISE_CONV_2D, Operation::kDepthwiseConvolution, 2, 3, &Reader::ReadDepthwiseConvolution},
        {CUSTOM, Operation::kTransposeConvolution, 2, 3, &Reader::ReadTransposeConvolution, false,
         "Convolution2DTransposeBias"},
        {RELU, Operation::kClamp, 1, 1, &Reader::ReadRelu},
        {HARD_SWISH, Operation::kHardSwish, 1, 1},
        {LOGISTIC, Operation::kLogistic, 1, 1},
        {ADD, Operation::kAdd, 2, 2, &Reader::ReadAdd},
        {MUL, Operation::kMultiply, 2, 2, &Reader::ReadMultiply},
        {AVERAGE_POOL_2D, Operation::kGlobalAveragePool, 1, 1, &Reader::ReadAveragePool},
        {MEAN, Operation::kGlobalAveragePool, 1, 1, &Reader::ReadMean, true},
        {RESIZE_BILINEAR, Operation::kResizeBilinear, 1, 1, &Reader::ReadResize, true},
    };
    const auto rule = std::find_if(std::begin(kRules), std::end(kRules), [&](const Rule& candidate) {
      return candidate.number == Number(code) &&
             (candidate.number != CUSTOM || candidate.custom_name == CustomName(code));
    });
    return rule != std::end(kRules) ? rule : nullptr;
  }

  void ReadOperator(size_t index, const tflite::Operator& source, const tflite::OperatorCode& code) {
    where_ = OperatorName(index, code);
    inputs_ = View(source.inputs());
    const int32_t output = OnlyTensor(View(source.outputs()), where_ + ": output");
    if (Number(code) == tflite::BuiltinOperator::DEQUANTIZE) return WidenHalves(output);

    const Rule* rule = FindRule(code);
    Require(rule != nullptr, where_, ": not supported");
    Node node;
    node.operation = rule->operation;
    node.name = where_;
    node.output = output;
    if (rule->integers) TakeIntegers(rule->most);
    TakeInputs(node, rule->required, rule->most);
    if (rule->read_options != nullptr) (this->*rule->read_options)(node, source);
    graph_.nodes.push_back(std::move(node));
  }

  // Options of convolutions of either kind.
  template <typename T>
  void ReadWindow(Node& node, const T& options) const {
    SetWindow(node, options.padding(), options.stride_h(), options.stride_w());
    SetActivation(node, options.activation());
    Require(options.dilation_h() == 1 && options.dilation_w() == 1, where_, ": dilation is not supported");
  }

  void ReadConvolution(Node& node, const tflite::Operator& source) {
    ReadWindow(node, Options(source.builtin_options_as_Conv2DOptions()));
  }

  void ReadDepthwiseConvolution(Node& node, const tflite::Operator& source) {
    const auto& options = Options(source.builtin_options_as_DepthwiseConv2DOptions());
    ReadWindow(node, options);
    Require(options.depth_multiplier() == 1, where_, ": only a depth multiplier of 1 is supported");
  }

  // The options are three 32-bit integers: padding (1 is "same"), stride along the width, stride along the height.
  void ReadTransposeConvolution(Node& node, const tflite::Operator& source) {
    const std::span<const uint8_t> bytes = View(source.custom_options());
    int32_t options[3];
    Require(bytes.size() == sizeof(options), where_, ": the options are not three integers");
    std::memcpy(options, bytes.data(), sizeof(options));
    Require(options[0] == 1, where_, ": only \"same\" padding is supported");
    SetWindow(node, tflite::Padding::SAME, options[2], options[1]);
  }

  void ReadRelu(Node& node, const tflite::Operator&) { node.min = 0.0f; }

  void ReadAdd(Node& node, const tflite::Operator& source) {
    SetActivation(node, Options(source.builtin_options_as_AddOptions()).activation());
  }

  void ReadMultiply(Node& node, const tflite::Operator& source) {
    SetActivation(node, Options(source.builtin_options_as_MulOptions()).activation());
  }

  void ReadAveragePool(Node& node, const tflite::Operator& source) {
    const auto& options = Options(source.builtin_options_as_Pool2DOptions());
    SetActivation(node, options.activation());
    const Shape& shape = graph_.tensors[node.inputs[0]].shape;
    Require(shape.size() == 4 && std::cmp_equal(options.filter_height(), shape[1]) &&
                std::cmp_equal(options.filter_width(), shape[2]) && options.stride_h() > 0 && options.stride_w() > 0,
            where_, ": only pooling over the whole picture is supported");
  }

  void ReadMean(Node& node, const tflite::Operator& source) {
    Require(Options(source.builtin_options_as_ReducerOptions()).keep_dims(), where_, ": keep_dims must be set");
    const auto rank = static_cast<int32_t>(graph_.tensors[node.inputs[0]].shape.size());
    for (int32_t& axis : integers_) axis += axis < 0 ? rank : 0;
    std::sort(integers_.begin(), integers_.end());
    Require(integers_ == std::array{1, 2}, where_, ": only the mean over height and width is supported");
  }

  void ReadResize(Node& node, const tflite::Operator& source) {
    const auto& options = Options(source.builtin_options_as_ResizeBilinearOptions());
    Require(!options.align_corners() && options.half_pixel_centers(), where_,
            ": only half-pixel centres are supported");
    Require(integers_[0] > 0 && integers_[1] > 0, where_, ": the new size is not positive");
    node.new_height = static_cast<size_t>(integers_[0]);
    node.new_width = static_cast<size_t>(integers_[1]);
  }

  // A constant of 16-bit floats becomes a constant of 32-bit ones; the operator itself is then done with.
  void WidenHalves(int32_t output) {
    Require(inputs_.size() == 1 && InRange(inputs_[0]), where_, ": needs one input");
    const auto input = static_cast<uint32_t>(inputs_[0]);
    Tensor& tensor = graph_.tensors[output];
    Require(tensors_->Get(input)->type() == tflite::TensorType::FLOAT16, where_, ": only 16-bit floats are supported");
    Require(TensorOfFile(output).type() == tflite::TensorType::FLOAT32 && !tensor.constant, where_,
            ": the output cannot be written");
    Require(tensor.shape == graph_.tensors[input].shape, where_, ": the shapes differ");
    const std::span<const uint8_t> bytes = Data(input, sizeof(uint16_t));
    std::vector<float>& values = MakeConstant(tensor);
    for (size_t i = 0; i < bytes.size() / sizeof(uint16_t); ++i) {
      uint16_t half;
      std::memcpy(&half, bytes.data() + i * sizeof(half), sizeof(half));
      values[i] = HalfToFloat(half);
    }
  }

  template <typename T>
  const T& Options(const T* options) const {
    Require(options != nullptr, where_, ": the options are missing");
    return *options;
  }

  void SetWindow(Node& node, tflite::Padding padding, int32_t stride_height, int32_t stride_width) const {
    Require(padding == tflite::Padding::SAME || padding == tflite::Padding::VALID, where_, ": unknown padding");
    Require(stride_height > 0 && stride_height <= kMaxStride && stride_width > 0 && stride_width <= kMaxStride, where_,
            ": a stride is out of range");
    node.padding = padding == tflite::Padding::SAME ? Padding::kSame : Padding::kValid;
    node.stride_height = static_cast<size_t>(stride_height);
    node.stride_width = static_cast<size_t>(stride_width);
  }

  void SetActivation(Node& node, tflite::Activation activation) const {
    switch (activation) {
      case tflite::Activation::NONE:
        return;
      case tflite::Activation::RELU:
        node.min = 0.0f;
        return;
      case tflite::Activation::RELU_N1_TO_1:
        node.min = -1.0f;
        node.max = 1.0f;
        return;
      case tflite::Activation::RELU6:
        node.min = 0.0f;
        node.max = 6.0f;
        return;
    }
    Fail(where_, ": unknown activation");
  }

  // The node's operands: all of the operator's that are left. Those from `required` on may be absent.
  void TakeInputs(Node& node, size_t required, size_t most) const {
    Require(inputs_.size() >= required && inputs_.size() <= most, where_, ": wrong number of inputs");
    for (size_t i = 0; i < inputs_.size(); ++i) {
      if (inputs_[i] == kAbsent) {
        Require(i >= required, where_, ": an input is missing");
      } else {
        Require(InRange(inputs_[i]), where_, ": an input index is out of range");
        Require(TensorOfFile(inputs_[i]).type() == tflite::TensorType::FLOAT32, where_, ": an input is not of floats");
      }
    }
    Require(TensorOfFile(node.output).type() == tflite::TensorType::FLOAT32, where_, ": the output is not of floats");
    node.inputs.assign(inputs_.begin(), inputs_.end());
    node.inputs.resize(most, kAbsent);
  }

  // Reads the two integers at the last operand, which is taken off the operator's inputs.
  void TakeIntegers(size_t position) {
    Require(inputs_.size() == position + 1 && InRange(inputs_[position]), where_, ": wrong number of inputs");
    const auto index = static_cast<uint32_t>(inputs_[position]);
    Require(tensors_->Get(index)->type() == tflite::TensorType::INT32, where_, ": an operand is not of integers");
    const std::span<const uint8_t> bytes = Data(index, sizeof(int32_t));
    Require(bytes.size() == sizeof(integers_), where_, ": an operand is not two integers");
    std::memcpy(integers_.data(), bytes.data(), sizeof(integers_));
    inputs_ = inputs_.first(position);
  }

  std::span<const uint8_t> Bytes(uint32_t tensor) const {
    const auto* buffers = model_.buffers();
    const uint32_t buffer = tensors_->Get(tensor)->buffer();
    Require(buffers != nullptr && buffer < buffers->size(), "tensor ", std::to_string(tensor), " has no buffer");
    return View(buffers->Get(buffer)->data());
  }

  // The bytes of a constant, held against its shape.
  std::span<const uint8_t> Data(uint32_t tensor, size_t element_size) const {
    const std::span<const uint8_t> bytes = Bytes(tensor);
    const size_t expected = CountElements(graph_.tensors[tensor].shape, kMaxElements) * element_size;
    Require(bytes.size() == expected, "the data of tensor ", std::to_string(tensor), " do not fit its shape");
    return bytes;
  }

  std::vector<float>& MakeConstant(Tensor& tensor) {
    const size_t elements = CountElements(tensor.shape, kMaxElements);
    // Tensors may share a buffer, so the size of the file is no bound.
    constant_elements_ += elements;
    Require(constant_elements_ <= kMaxConstantElements, "the model's constants are too large");
    tensor.constant = true;
    tensor.values.resize(elements + XNN_EXTRA_BYTES / sizeof(float));
    return tensor.values;
  }

  bool InRange(int32_t index) const { return index >= 0 && static_cast<size_t>(index) < graph_.tensors.size(); }

  const tflite::Tensor& TensorOfFile(int32_t index) const { return *tensors_->Get(static_cast<uint32_t>(index)); }

  std::string NameOf(int32_t index) const {
    const flatbuffers::String* name = TensorOfFile(index).name();
    return name != nullptr ? name->str() : std::string();
  }

  int32_t OnlyTensor(std::span<const int32_t> indices, const std::string& what) const {
    Require(indices.size() == 1 && InRange(indices[0]), what, ": not exactly one tensor");
    return indices[0];
  }

  const tflite::Model& model_;
  const TensorVector* tensors_ = nullptr;
  Graph graph_;
  size_t constant_elements_ = 0;
  // The operator being read.
  std::string where_;
  std::span<const int32_t> inputs_;
  std::array<int32_t, 2> integers_ = {};
};

}  // namespace

Graph ReadTflite(std::span<const uint8_t> bytes) {
  Require(bytes.size() <= kMaxModelBytes, "the model is too large");
  // Tables are read in place, and the caller's bytes may lie anywhere: a copy on the heap is aligned for every scalar.
  const std::vector<uint8_t> model(bytes.begin(), bytes.end());
  flatbuffers::Verifier verifier(model.data(), model.size());
  Require(model.size() >= 8 && tflite::VerifyModelBuffer(verifier), "not a TensorFlow Lite model, or a damaged one");
  return Reader(*tflite::GetModel(model.data())).Read();
}

}  // namespace pexo::engine
