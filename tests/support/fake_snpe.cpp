#include "tests/support/fake_snpe.h"

#include <DlContainer/IDlContainer.hpp>
#include <DlSystem/DlError.hpp>
#include <SNPE/SNPEBuilder.hpp>
#include <SNPE/SNPEFactory.hpp>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace pexo::fake {
namespace {

using namespace zdl::DlSystem;

std::mutex state_mutex;  // guards the two below
Engine state_engine;
std::vector<std::string> state_calls;
std::atomic<int> overlapping{0};
thread_local const char* last_error = "";

Engine Current() {
  const std::lock_guard lock(state_mutex);
  return state_engine;
}

void Record(const std::string& call) {
  const std::lock_guard lock(state_mutex);
  state_calls.push_back(call);
}

struct Container : zdl::DlContainer::IDlContainer {
  ~Container() override { Record("~IDlContainer"); }
};

struct Attributes : IBufferAttributes {
  explicit Attributes(const Tensor& tensor) : shape(tensor.shape) {}
  TensorShape getDims() const override { return shape; }
  TensorShape shape;
};

struct Buffer : IUserBuffer {
  Buffer(void* at, size_t size) : memory(static_cast<uint8_t*>(at)), bytes(size) {}
  size_t getSize() const override { return bytes; }
  const TensorShape& getStrides() const override { return strides; }
  const UserBufferEncoding& getEncoding() const override { return encoding; }
  bool setBufferAddress(void*) override { return false; }

  uint8_t* const memory;
  const size_t bytes;
  TensorShape strides;
  UserBufferEncodingTfN encoding{0, 1.0f};
};

struct BufferFactory : IUserBufferFactory {
  std::unique_ptr<IUserBuffer> createUserBuffer(void* memory, size_t bytes, const TensorShape& strides,
                                                UserBufferEncoding* encoding) override {
    std::ostringstream call;
    call.exceptions(std::ios::badbit);  // lets std::bad_alloc through
    call << "createUserBuffer " << bytes << " [";
    for (size_t i = 0; i < strides.rank(); ++i) call << strides[i] << (i + 1 < strides.rank() ? " " : "] ");
    if (const auto* const tf = dynamic_cast<UserBufferEncodingTfN*>(encoding)) {
      call << "TF" << 8 * tf->getElementSize() << " " << tf->getStepExactly0() << " " << tf->getQuantizedStepSize();
    } else {
      call << "FLOAT";
    }
    Record(call.str());
    if (!Current().makes_buffers) return nullptr;
    return std::make_unique<Buffer>(memory, bytes);
  }
};

void Infer(const Tensor& from, const Buffer& input, const Tensor& to, const Buffer& output) {
  const size_t depth = from.shape.back(), channels = to.shape.back(), pixels = output.bytes / channels;
  for (size_t i = 0; i < pixels * channels; ++i) {
    const uint8_t g = input.memory[i / channels * (input.bytes / depth) / pixels * depth + (depth > 1 ? 1 : 0)];
    output.memory[i] = channels == 2 && i % 2 == 0 ? static_cast<uint8_t>(255 - g) : g;
  }
}

class Network : public zdl::SNPE::SNPE {
 public:
  explicit Network(const Engine& engine) {
    for (const auto* tensors : {&engine.inputs, &engine.outputs}) {
      for (const Tensor& tensor : *tensors) attributes_.emplace(tensor.name, tensor);
    }
  }
  ~Network() override { Record("~SNPE"); }

  Optional<StringList> getInputTensorNames() const override { return Names(Current().inputs); }
  Optional<StringList> getOutputTensorNames() const override { return Names(Current().outputs); }
  Optional<IBufferAttributes*> getInputOutputBufferAttributes(const char* name) const override {
    const auto found = attributes_.find(name);
    if (found == attributes_.end() || !Current().has_attributes) return {};
    return {&found->second};
  }

  bool execute(const UserBufferMap& input, const UserBufferMap& output) override {
    if (running_.exchange(true)) ++overlapping;
    const Engine engine = Current();
    std::this_thread::sleep_for(engine.prediction_time);
    const auto buffer = [](const UserBufferMap& map, const Tensor& tensor) -> const Buffer& {
      return dynamic_cast<const Buffer&>(*map.getUserBuffer(tensor.name.c_str()));
    };
    for (const Tensor& tensor : engine.outputs) {
      if (engine.succeeds && !engine.throws)
        Infer(engine.inputs[0], buffer(input, engine.inputs[0]), tensor, buffer(output, tensor));
    }
    running_ = false;
    if (engine.throws) throw std::runtime_error("execute");
    return engine.succeeds && input.size() == engine.inputs.size();
  }

 private:
  static Optional<StringList> Names(const std::vector<Tensor>& tensors) {
    if (!Current().has_names) return {};
    StringList names;
    for (const Tensor& tensor : tensors) names.append(tensor.name.c_str());
    return {names};
  }

  mutable std::map<std::string, Attributes> attributes_;
  std::atomic<bool> running_{false};
};

std::unique_ptr<zdl::DlContainer::IDlContainer> Open(const std::string& what) {
  Record("open " + what);
  if (Current().opens) return std::make_unique<Container>();
  last_error = "cannot open";
  return nullptr;
}

}  // namespace

void SetEngine(const Engine& engine) {
  const std::lock_guard lock(state_mutex);
  state_engine = engine;
  state_calls.clear();
  overlapping = 0;
}

std::vector<std::string> Calls() {
  const std::lock_guard lock(state_mutex);
  return state_calls;
}

int OverlappingExecutions() {
  return overlapping;
}

}  // namespace pexo::fake

using pexo::fake::Current;
using pexo::fake::Record;

const char* zdl::DlSystem::getLastErrorString() {
  return pexo::fake::last_error;
}

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

SNPEBuilder::SNPEBuilder(DlContainer::IDlContainer* container) : settings_(new Settings{container != nullptr}) {}
SNPEBuilder::~SNPEBuilder() = default;

SNPEBuilder& SNPEBuilder::setOutputLayers(const DlSystem::StringList& layers) {
  return Record("setOutputLayers " + std::to_string(layers.size())), *this;
}
SNPEBuilder& SNPEBuilder::setRuntimeProcessor(DlSystem::Runtime_t runtime) {
  return Record("setRuntimeProcessor " + std::to_string(static_cast<int>(runtime))), *this;
}
SNPEBuilder& SNPEBuilder::setPlatformConfig(const DlSystem::PlatformConfig& config) {
  return Record(std::string("setPlatformConfig [") + config.getPlatformOptions() + "]"), *this;
}
SNPEBuilder& SNPEBuilder::setUseUserSuppliedBuffers(bool use) {
  return Record(use ? "setUseUserSuppliedBuffers" : "engine's own buffers"), *this;
}
SNPEBuilder& SNPEBuilder::setInitCacheMode(bool cache) {
  return Record(cache ? "setInitCacheMode" : "no cache"), *this;
}

std::unique_ptr<SNPE> SNPEBuilder::build() {
  Record("build");
  const pexo::fake::Engine engine = Current();
  if (settings_->has_container && engine.builds) return std::make_unique<pexo::fake::Network>(engine);
  pexo::fake::last_error = settings_->has_container ? "cannot build" : "no container";
  return nullptr;
}

bool SNPEFactory::isRuntimeAvailable(DlSystem::Runtime_t runtime) {
  Record("isRuntimeAvailable " + std::to_string(static_cast<int>(runtime)));
  if (Current().runtimes.count(static_cast<int>(runtime)) != 0) return true;
  pexo::fake::last_error = "no such runtime";
  return false;
}
DlSystem::IUserBufferFactory& SNPEFactory::getUserBufferFactory() {
  static pexo::fake::BufferFactory factory;
  return factory;
}

}  // namespace zdl::SNPE
