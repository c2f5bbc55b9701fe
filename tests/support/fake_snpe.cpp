#include "tests/support/fake_snpe.h"

#include <DlContainer/IDlContainer.hpp>
#include <SNPE/SNPEBuilder.hpp>
#include <SNPE/SNPEFactory.hpp>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace pexo::fake {
namespace {

std::mutex state_mutex;  // guards the four below
Engine state_engine;
std::vector<std::string> state_calls;
std::vector<const void*> state_blocks;
int state_executions = 0;
std::atomic<int> overlapping{0};

Engine Current() {
  const std::lock_guard lock(state_mutex);
  return state_engine;
}

template <typename... Parts>
void Record(const Parts&... parts) {
  std::ostringstream line;
  line.exceptions(std::ios::badbit);  // lets std::bad_alloc through
  (line << ... << parts);
  const std::lock_guard lock(state_mutex);
  state_calls.push_back(line.str());
}

char BlockName(const void* block) {
  const std::lock_guard lock(state_mutex);
  auto at = std::find(state_blocks.begin(), state_blocks.end(), block);
  if (at == state_blocks.end()) at = state_blocks.insert(at, block);
  return static_cast<char>('A' + (at - state_blocks.begin()));
}

struct Container : zdl::DlContainer::IDlContainer {
  ~Container() override { Record("~IDlContainer"); }
};

struct Attributes : zdl::DlSystem::IBufferAttributes {
  explicit Attributes(const Tensor& tensor) : shape(tensor.shape) {}
  zdl::DlSystem::TensorShape getDims() const override { return shape; }
  zdl::DlSystem::TensorShape shape;
};

struct Buffer : zdl::DlSystem::IUserBuffer {
  size_t getSize() const override { return bytes; }
  const zdl::DlSystem::TensorShape& getStrides() const override { return strides; }
  const zdl::DlSystem::UserBufferEncoding& getEncoding() const override { return encoding; }
  bool setBufferAddress(void* buffer) override {
    if (buffer != nullptr) memory = buffer;
    return buffer != nullptr;
  }
  size_t elements() const { return bytes / encoding.getElementSize(); }
  // Bytes and floats alike stand for their own values.
  uint8_t Get(size_t i) const {
    return is_float ? static_cast<uint8_t>(static_cast<const float*>(memory)[i])
                    : static_cast<const uint8_t*>(memory)[i];
  }
  void Set(size_t i, int value) const {
    if (i >= elements()) return;
    if (is_float) {
      static_cast<float*>(memory)[i] = static_cast<float>(value);
    } else {
      static_cast<uint8_t*>(memory)[i] = static_cast<uint8_t>(value);
    }
  }

  void* memory = nullptr;
  size_t bytes = 0;
  zdl::DlSystem::TensorShape strides;
  bool is_float = false;
  zdl::DlSystem::UserBufferEncodingTfN encoding{0, 1.0f};
};

struct BufferFactory : zdl::DlSystem::IUserBufferFactory {
  std::unique_ptr<zdl::DlSystem::IUserBuffer> createUserBuffer(void* memory, size_t bytes,
                                                               const zdl::DlSystem::TensorShape& strides,
                                                               zdl::DlSystem::UserBufferEncoding* encoding) override {
    auto buffer = std::make_unique<Buffer>();
    buffer->memory = memory;
    buffer->bytes = bytes;
    buffer->strides = strides;
    std::ostringstream text;
    text.exceptions(std::ios::badbit);
    text << "createUserBuffer " << BlockName(memory) << ' ' << bytes << " [";
    for (size_t i = 0; i < strides.rank(); ++i) text << (i == 0 ? "" : " ") << strides[i];
    if (const auto* const tf = dynamic_cast<zdl::DlSystem::UserBufferEncodingTfN*>(encoding)) {
      buffer->encoding = *tf;
      text << "] TF" << 8 * tf->getElementSize() << ' ' << tf->getStepExactly0() << ' ' << tf->getQuantizedStepSize();
    } else {
      buffer->is_float = true;
      text << "] FLOAT";
    }
    Record(text.str());
    if (!Current().makes_buffers) return nullptr;
    return buffer;
  }
};

void Infer(const Tensor& from, const Buffer& input, const Tensor& to, const Buffer& output) {
  if (from.shape.size() != 4 || to.shape.size() != 4) return;
  const size_t in_rows = from.shape[1], in_columns = from.shape[2], in_depth = from.shape[3];
  const size_t rows = to.shape[1], columns = to.shape[2], depth = to.shape[3];
  size_t at = 0;
  for (size_t y = 0; y < rows; ++y) {
    for (size_t x = 0; x < columns; ++x) {
      const size_t pixel = y * in_rows / rows * in_columns + x * in_columns / columns;
      const size_t i = pixel * in_depth + (in_depth > 1 ? 1 : 0);
      const int g = i < input.elements() ? input.Get(i) : 0;
      for (size_t channel = 0; channel < depth; ++channel) output.Set(at++, depth == 2 && channel == 0 ? 255 - g : g);
    }
  }
}

class Network : public zdl::SNPE::SNPE {
 public:
  explicit Network(const Engine& engine) {
    for (const auto* tensors : {&engine.inputs, &engine.outputs}) {
      for (const Tensor& tensor : *tensors) attributes_.emplace_back(tensor.name, Attributes(tensor));
    }
  }
  ~Network() override { Record("~SNPE"); }

  zdl::DlSystem::Optional<zdl::DlSystem::StringList> getInputTensorNames() const override {
    return Names(Current().inputs);
  }
  zdl::DlSystem::Optional<zdl::DlSystem::StringList> getOutputTensorNames() const override {
    return Names(Current().outputs);
  }
  zdl::DlSystem::Optional<zdl::DlSystem::IBufferAttributes*> getInputOutputBufferAttributes(
      const char* name) const override {
    if (Current().has_attributes) {
      for (auto& [tensor, attributes] : attributes_) {
        if (tensor == name) return {&attributes};
      }
    }
    return {};
  }

  bool execute(const zdl::DlSystem::UserBufferMap& input, const zdl::DlSystem::UserBufferMap& output) override {
    if (running_.exchange(true)) ++overlapping;
    const Engine engine = Current();
    std::this_thread::sleep_for(engine.prediction_time);
    const auto* const from = static_cast<const Buffer*>(input.getUserBuffer(engine.inputs.at(0).name.c_str()));
    bool complete = from != nullptr && input.size() == engine.inputs.size() && output.size() == engine.outputs.size();
    if (complete && !engine.throws) {
      for (const Tensor& tensor : engine.outputs) {
        const auto* const to = static_cast<const Buffer*>(output.getUserBuffer(tensor.name.c_str()));
        if (to != nullptr) Infer(engine.inputs[0], *from, tensor, *to);
      }
    }
    running_ = false;
    {
      const std::lock_guard lock(state_mutex);
      ++state_executions;
    }
    if (engine.throws) throw std::runtime_error("execute");
    return complete && engine.succeeds;
  }

 private:
  static zdl::DlSystem::Optional<zdl::DlSystem::StringList> Names(const std::vector<Tensor>& tensors) {
    if (!Current().has_names) return {};
    zdl::DlSystem::StringList names;
    for (const Tensor& tensor : tensors) names.append(tensor.name.c_str());
    return {names};
  }

  mutable std::vector<std::pair<std::string, Attributes>> attributes_;
  std::atomic<bool> running_{false};
};

std::unique_ptr<zdl::DlContainer::IDlContainer> Open(const std::string& what) {
  Record("open ", what);
  if (!Current().opens) return nullptr;
  return std::make_unique<Container>();
}

}  // namespace

void SetEngine(const Engine& engine) {
  const std::lock_guard lock(state_mutex);
  state_engine = engine;
  state_calls.clear();
  state_blocks.clear();
  state_executions = 0;
  overlapping = 0;
}

std::vector<std::string> Calls() {
  const std::lock_guard lock(state_mutex);
  return state_calls;
}

int Executions() {
  const std::lock_guard lock(state_mutex);
  return state_executions;
}

int OverlappingExecutions() {
  return overlapping;
}

}  // namespace pexo::fake

using pexo::fake::Current;
using pexo::fake::Record;

namespace zdl::DlContainer {

std::unique_ptr<IDlContainer> IDlContainer::open(const DlSystem::String& path) {
  return pexo::fake::Open(path.c_str());
}
std::unique_ptr<IDlContainer> IDlContainer::open(const std::vector<uint8_t>& bytes) {
  return pexo::fake::Open(std::to_string(bytes.size()));
}

}  // namespace zdl::DlContainer

namespace zdl::SNPE {

struct SNPEBuilder::Settings {
  bool has_container;
};

SNPEBuilder::SNPEBuilder(DlContainer::IDlContainer* container) : settings_(new Settings{container != nullptr}) {
  Record("SNPEBuilder");
}
SNPEBuilder::~SNPEBuilder() = default;

SNPEBuilder& SNPEBuilder::setOutputLayers(const DlSystem::StringList& layers) {
  Record("setOutputLayers ", layers.size());
  return *this;
}
SNPEBuilder& SNPEBuilder::setRuntimeProcessor(DlSystem::Runtime_t runtime) {
  Record("setRuntimeProcessor ", static_cast<int>(runtime));
  return *this;
}
SNPEBuilder& SNPEBuilder::setPlatformConfig(const DlSystem::PlatformConfig& config) {
  Record("setPlatformConfig \"", config.getPlatformOptions(), '"');
  return *this;
}
SNPEBuilder& SNPEBuilder::setUseUserSuppliedBuffers(bool use) {
  Record("setUseUserSuppliedBuffers ", use);
  return *this;
}
SNPEBuilder& SNPEBuilder::setInitCacheMode(bool cache) {
  Record("setInitCacheMode ", cache);
  return *this;
}

std::unique_ptr<SNPE> SNPEBuilder::build() {
  Record("build");
  const pexo::fake::Engine engine = Current();
  if (!settings_->has_container || !engine.builds) return nullptr;
  return std::make_unique<pexo::fake::Network>(engine);
}

bool SNPEFactory::isRuntimeAvailable(DlSystem::Runtime_t runtime) {
  Record("isRuntimeAvailable ", static_cast<int>(runtime));
  return Current().runtimes.count(static_cast<int>(runtime)) != 0;
}
DlSystem::IUserBufferFactory& SNPEFactory::getUserBufferFactory() {
  static pexo::fake::BufferFactory factory;
  return factory;
}

}  // namespace zdl::SNPE
