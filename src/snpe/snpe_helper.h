// SPDX-License-Identifier: Apache-2.0
// The one place that talks to the inference engine: opens a model, builds a network, runs it.
#ifndef PEXO_SNPE_SNPE_HELPER_H_
#define PEXO_SNPE_SNPE_HELPER_H_

#include <DlContainer/IDlContainer.hpp>
#include <DlSystem/DlEnums.hpp>
#include <DlSystem/IUserBuffer.hpp>
#include <DlSystem/TensorShape.hpp>
#include <DlSystem/UserBufferMap.hpp>
#include <SNPE/SNPE.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace pexo {

// Runtime values and their names; the index is the value.
inline constexpr const char* RuntimeNameTable[] = {"CPU_FLOAT32", "GPU_FLOAT32_16_HYBRID", "DSP_FIXED8_TF",
                                                   "GPU_FLOAT16", "CPU_FIXED8_TF",         "AIP_FIXED8_TF"};

// Values 0 to 4 take part in the listings of available runtimes; the last of the table never does.
inline constexpr int32_t kListedRuntimes = 5;

using TensorShapes = std::unordered_map<std::string, zdl::DlSystem::TensorShape>;
using TensorBytes = std::unordered_map<std::string, std::vector<uint8_t>>;
using TensorFloats = std::unordered_map<std::string, std::vector<float>>;

// Strides in bytes of a dense row-major tensor, depth fastest.
std::vector<size_t> DenseStrides(const zdl::DlSystem::TensorShape& shape, size_t element_bytes);

// Elements that a buffer for the shape must hold: the product of its dimensions, each 0 counted as 1; 0 for rank 0.
size_t BufferElements(const zdl::DlSystem::TensorShape& shape);

// A model, opened and built. When anything failed, `snpe` is null, the log says why, and the object is only good for
// destruction. For one thread at a time.
class snpe_helper {
 public:
  // `runtime` is a Runtime_t value; where the device does not have it, the CPU takes its place (logged). `path` names
  // the model's file, which the engine opens itself.
  snpe_helper(int32_t runtime, const std::string& path);
  // The same from a whole model in memory.
  snpe_helper(int32_t runtime, const std::vector<uint8_t>& model);
  snpe_helper(const snpe_helper&) = delete;
  snpe_helper& operator=(const snpe_helper&) = delete;
  virtual ~snpe_helper() = default;

  // The network is released before the container that it was built from.
  std::unique_ptr<zdl::DlContainer::IDlContainer> container;
  std::unique_ptr<zdl::SNPE::SNPE> snpe;  // null when the model could not be built
  const std::string model_path;           // empty for a model from memory

  [[nodiscard]] static std::set<int32_t> GetAvailableRuntimes();
  [[nodiscard]] static std::set<std::string> GetAvailableRuntimeNames();

  // Tensor name to shape (batch, height, width, depth); empty when the engine gives no names or no attributes.
  [[nodiscard]] TensorShapes GetInputTensorShapes() const;
  [[nodiscard]] TensorShapes GetOutputTensorShapes() const;

  // Runs the network on bytes, each standing for its own value as a real number. Every input tensor sees the same
  // `input_size` bytes, and `output_size` bytes are copied out whether or not the engine succeeded. Returns the
  // engine's answer, and true without running anything when it gives no names or no attributes. False without a network
  // or for a negative size. Buffers, encodings and maps are made for the first call and kept until a call needs larger
  // ones.
  bool Execute(const uint8_t* input, uint8_t* output, int32_t input_size, int32_t output_size);

  // Variants with a buffer per tensor. The first two size every tensor's entry of the maps from its shape (what an
  // entry held is kept as far as it fits) and bind to it; the last needs the entries there, of the right size at least,
  // throws std::out_of_range for a missing name and answers false for one that is too small.
  bool ExecuteTensors(TensorBytes& inputs, TensorBytes& outputs);
  bool ExecuteTensors(TensorFloats& inputs, TensorFloats& outputs);
  bool ExecuteCallerTensors(TensorFloats& inputs, TensorFloats& outputs);

 private:
  struct Binding {
    std::vector<std::unique_ptr<zdl::DlSystem::IUserBuffer>> buffers;
    zdl::DlSystem::UserBufferMap inputs;
    zdl::DlSystem::UserBufferMap outputs;
  };
  enum class Bound { kYes, kNothingToBind, kFailed };

  void Build(int32_t runtime);
  [[nodiscard]] int32_t AvailableOrCpu(int32_t runtime) const;

  // Binds every input and output tensor to the memory that `input_memory` and `output_memory` give for (name,
  // elements); null memory is a failure.
  template <typename InputMemory, typename OutputMemory>
  Bound Bind(zdl::DlSystem::UserBufferEncoding& encoding, Binding& binding, InputMemory input_memory,
             OutputMemory output_memory);
  template <typename Names, typename Memory>
  Bound BindTensors(const Names& names, zdl::DlSystem::UserBufferEncoding& encoding, Binding& binding,
                    zdl::DlSystem::UserBufferMap& map, Memory memory);
  template <typename InputMemory, typename OutputMemory>
  bool BindAndRun(zdl::DlSystem::UserBufferEncoding& encoding, InputMemory input_memory, OutputMemory output_memory);

  // What Execute keeps from call to call.
  std::vector<uint8_t> input_staging_;
  std::vector<uint8_t> output_staging_;
  std::unique_ptr<Binding> binding_;
};

}  // namespace pexo

#endif  // PEXO_SNPE_SNPE_HELPER_H_
