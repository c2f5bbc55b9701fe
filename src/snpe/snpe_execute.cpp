// SPDX-License-Identifier: Apache-2.0
// How a network is run: user buffers bound to memory, then one call of the engine.
#include <SNPE/SNPEFactory.hpp>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "snpe/snpe_helper.h"

namespace pexo {

using zdl::DlSystem::TensorShape;
using zdl::DlSystem::UserBufferEncoding;
using zdl::DlSystem::UserBufferEncodingFloat;
using zdl::DlSystem::UserBufferEncodingTfN;
using zdl::DlSystem::UserBufferMap;

std::vector<size_t> DenseStrides(const TensorShape& shape, size_t element_bytes) {
  std::vector<size_t> strides(shape.rank());
  size_t stride = element_bytes;
  for (size_t i = shape.rank(); i-- > 0; stride *= shape[i]) strides[i] = stride;
  return strides;
}

size_t BufferElements(const TensorShape& shape) {
  if (shape.rank() == 0) return 0;
  size_t elements = 1;
  for (size_t i = 0; i < shape.rank(); ++i) elements *= std::max<size_t>(shape[i], 1);
  return elements;
}

namespace {

// A byte stands for its own value: zero is at 0 and one step is 1.
UserBufferEncodingTfN ByteEncoding() {
  return UserBufferEncodingTfN(0, 1.0f, 8);
}

// The entry of a tensor, made as long as the tensor needs; what it held before stays.
template <typename Map>
auto SizedEntry(Map& map) {
  return [&map](const char* name, size_t elements) {
    auto& entry = map[name];
    entry.resize(elements);
    return entry.data();
  };
}

auto CallerEntry(TensorFloats& map) {
  return [&map](const char* name, size_t elements) -> float* {
    const auto found = map.find(name);
    if (found == map.end()) throw std::out_of_range("unordered_map::at: key not found");
    return found->second.size() < elements ? nullptr : found->second.data();
  };
}

// One block for all tensors of a side, as long as the longest of them needs.
auto SharedEntry(std::vector<uint8_t>& block) {
  return [&block](const char*, size_t elements) { return block.size() < elements ? nullptr : block.data(); };
}

template <typename Shapes>
size_t LongestTensor(const Shapes& shapes) {
  size_t longest = 0;
  for (const auto& [name, shape] : shapes) longest = std::max(longest, BufferElements(shape));
  return longest;
}

}  // namespace

template <typename Names, typename Memory>
snpe_helper::Bound snpe_helper::BindTensors(const Names& names, UserBufferEncoding& encoding, Binding& binding,
                                            UserBufferMap& map, Memory memory) {
  if (!names) return Bound::kNothingToBind;
  for (const char* name : *names) {
    const auto attributes = snpe->getInputOutputBufferAttributes(name);
    if (!attributes) return Bound::kNothingToBind;
    const auto shape = (*attributes)->getDims();
    const size_t elements = BufferElements(shape);
    auto* const data = memory(name, elements);
    if (data == nullptr) return Bound::kFailed;
    const TensorShape strides = DenseStrides(shape, sizeof(*data));
    auto buffer = zdl::SNPE::SNPEFactory::getUserBufferFactory().createUserBuffer(data, elements * sizeof(*data),
                                                                                  strides, &encoding);
    if (buffer == nullptr) return Bound::kFailed;
    map.add(name, buffer.get());
    binding.buffers.push_back(std::move(buffer));
  }
  return Bound::kYes;
}

template <typename InputMemory, typename OutputMemory>
snpe_helper::Bound snpe_helper::Bind(UserBufferEncoding& encoding, Binding& binding, InputMemory input_memory,
                                     OutputMemory output_memory) {
  const auto input_names = snpe->getInputTensorNames();
  const Bound inputs = BindTensors(input_names, encoding, binding, binding.inputs, input_memory);
  if (inputs != Bound::kYes) return inputs;
  const auto output_names = snpe->getOutputTensorNames();
  return BindTensors(output_names, encoding, binding, binding.outputs, output_memory);
}

template <typename InputMemory, typename OutputMemory>
bool snpe_helper::BindAndRun(UserBufferEncoding& encoding, InputMemory input_memory, OutputMemory output_memory) {
  if (snpe == nullptr) return false;
  Binding binding;
  const Bound bound = Bind(encoding, binding, input_memory, output_memory);
  if (bound == Bound::kYes) return snpe->execute(binding.inputs, binding.outputs);
  return bound == Bound::kNothingToBind;
}

bool snpe_helper::Execute(const uint8_t* input, uint8_t* output, int32_t input_size, int32_t output_size) {
  if (snpe == nullptr || input_size < 0 || output_size < 0) return false;
  const auto input_bytes = static_cast<size_t>(input_size);
  const auto output_bytes = static_cast<size_t>(output_size);

  if (binding_ == nullptr || input_staging_.size() < input_bytes || output_staging_.size() < output_bytes) {
    binding_.reset();
    // A tensor may be longer than what the caller gives or takes; the engine still gets a block that holds all of it.
    input_staging_.assign(std::max(input_bytes, LongestTensor(GetInputTensorShapes())), 0);
    output_staging_.assign(std::max(output_bytes, LongestTensor(GetOutputTensorShapes())), 0);
    auto binding = std::make_unique<Binding>();
    auto encoding = ByteEncoding();
    const Bound bound = Bind(encoding, *binding, SharedEntry(input_staging_), SharedEntry(output_staging_));
    if (bound != Bound::kYes) return bound == Bound::kNothingToBind;
    binding_ = std::move(binding);
  }

  if (input_bytes > 0) std::memcpy(input_staging_.data(), input, input_bytes);
  // If the engine fails, no scores of an earlier frame may pass for this one's.
  std::fill(output_staging_.begin(), output_staging_.end(), uint8_t{0});
  const bool succeeded = snpe->execute(binding_->inputs, binding_->outputs);
  if (output_bytes > 0) std::memcpy(output, output_staging_.data(), output_bytes);
  return succeeded;
}

bool snpe_helper::ExecuteTensors(TensorBytes& inputs, TensorBytes& outputs) {
  auto encoding = ByteEncoding();
  return BindAndRun(encoding, SizedEntry(inputs), SizedEntry(outputs));
}

bool snpe_helper::ExecuteTensors(TensorFloats& inputs, TensorFloats& outputs) {
  UserBufferEncodingFloat encoding;
  return BindAndRun(encoding, SizedEntry(inputs), SizedEntry(outputs));
}

bool snpe_helper::ExecuteCallerTensors(TensorFloats& inputs, TensorFloats& outputs) {
  UserBufferEncodingFloat encoding;
  return BindAndRun(encoding, CallerEntry(inputs), CallerEntry(outputs));
}

}  // namespace pexo
