// SPDX-License-Identifier: Apache-2.0
#include "tests/support/fake_snpe.h"

#include <DlContainer/IDlContainer.hpp>
#include <DlSystem/DlError.hpp>
#include <SNPE/SNPEBuilder.hpp>
#include <SNPE/SNPEFactory.hpp>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace pexo::fake {
namespace {

using namespace zdl::DlSystem;

std::mutex state_mutex;  // guards the engine
Engine state_engine;
std::atomic<int> misuses{0}, runs{0};
thread_local const char* last_error = "";

// In a program that was started with PEXO_FAKE_ENGINE: the name of a file with a word in it.
void FollowFile(Engine& engine) {
  static const char* const path = std::getenv("PEXO_FAKE_ENGINE");
  std::string word;
  if (path == nullptr || !(std::ifstream(path) >> word)) return;
  engine.succeeds = word != "fails";
  engine.throws = word == "throws";
  engine.hangs = word == "hangs";
  engine.prediction_time = std::chrono::seconds(word == "stalls" ? 1 : 0);
}

Engine Current() {
  const std::lock_guard lock(state_mutex);
  FollowFile(state_engine);
  return state_engine;
}

struct Container : zdl::DlContainer::IDlContainer {
  ~Container() override { misuses += networks; }
  int networks = 0;  // built from it
};

struct Attributes : IBufferAttributes {
  explicit Attributes(const Tensor& tensor) : shape(tensor.shape) {}
  TensorShape getDims() const override { return shape; }
  TensorShape shape;
};

struct Buffer : IUserBuffer {
  Buffer(void* at, size_t size, const TensorShape& steps, size_t element_bytes)
      : memory(static_cast<uint8_t*>(at)), bytes(size), element(element_bytes), strides(steps) {}
  size_t getSize() const override { return bytes; }
  const TensorShape& getStrides() const override { return strides; }
  const UserBufferEncoding& getEncoding() const override { return encoding; }
  bool setBufferAddress(void*) override { return false; }

  // Dense, and as long as the tensor with each dimension of 0 counted as 1.
  bool Fits(const Tensor& tensor) const {
    size_t stride = element, size = element;
    bool fits = strides.rank() == tensor.shape.size();
    for (size_t i = tensor.shape.size(); fits && i-- > 0; stride *= tensor.shape[i]) {
      fits = strides[i] == stride;
      size *= std::max<size_t>(tensor.shape[i], 1);
    }
    return fits && size == bytes;
  }

  uint8_t* const memory;
  const size_t bytes, element;
  const TensorShape strides;
  UserBufferEncodingTfN encoding{0, 1.0f};
};

struct BufferFactory : IUserBufferFactory {
  std::unique_ptr<IUserBuffer> createUserBuffer(void* memory, size_t bytes, const TensorShape& strides,
                                                UserBufferEncoding* encoding) override {
    const auto* const tf = dynamic_cast<UserBufferEncodingTfN*>(encoding);
    const bool as_they_are = tf == nullptr || (tf->getStepExactly0() == 0 && tf->getQuantizedStepSize() == 1.0f);
    if (!Current().makes_buffers || !as_they_are) return nullptr;
    return std::make_unique<Buffer>(memory, bytes, strides, encoding->getElementSize());
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
  Network(const Engine& engine, Container& container) : container_(container) {
    ++container_.networks;
    for (const auto* tensors : {&engine.inputs, &engine.outputs}) {
      for (const Tensor& tensor : *tensors) attributes_.emplace(tensor.name, tensor);
    }
  }
  ~Network() override { --container_.networks; }

  Optional<StringList> getInputTensorNames() const override { return Names(Current().inputs); }
  Optional<StringList> getOutputTensorNames() const override { return Names(Current().outputs); }
  Optional<IBufferAttributes*> getInputOutputBufferAttributes(const char* name) const override {
    const auto found = attributes_.find(name);
    if (found == attributes_.end() || !Current().has_attributes) return {};
    return {&found->second};
  }

  bool execute(const UserBufferMap& input, const UserBufferMap& output) override {
    if (running_.exchange(true)) ++misuses;
    ++runs;
    Engine engine;
    while ((engine = Current()).hangs) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::this_thread::sleep_for(engine.prediction_time);
    const auto buffer = [](const UserBufferMap& map, const Tensor& tensor) {
      return dynamic_cast<const Buffer*>(map.getUserBuffer(tensor.name.c_str()));
    };
    const auto fit = [&](const UserBufferMap& map, const std::vector<Tensor>& tensors) {
      return std::ranges::all_of(tensors, [&](const Tensor& tensor) {
        return buffer(map, tensor) != nullptr && buffer(map, tensor)->Fits(tensor);
      });
    };
    const bool succeeds = engine.succeeds && fit(input, engine.inputs) && fit(output, engine.outputs);
    for (const Tensor& tensor : engine.outputs) {
      if (!succeeds || engine.throws) break;
      Infer(engine.inputs[0], *buffer(input, engine.inputs[0]), tensor, *buffer(output, tensor));
    }
    running_ = false;
    if (engine.throws) throw std::runtime_error("execute");
    return succeeds;
  }

 private:
  static Optional<StringList> Names(const std::vector<Tensor>& tensors) {
    if (!Current().has_names) return {};
    StringList names;
    for (const Tensor& tensor : tensors) names.append(tensor.name.c_str());
    return {names};
  }

  Container& container_;
  mutable std::map<std::string, Attributes> attributes_;
  std::atomic<bool> running_{false};
};

std::unique_ptr<zdl::DlContainer::IDlContainer> Open(bool anything) {
  if (anything && Current().opens) return std::make_unique<Container>();
  last_error = "cannot open";
  return nullptr;
}

}  // namespace

void SetEngine(const Engine& engine) {
  const std::lock_guard lock(state_mutex);
  state_engine = engine;
  misuses = runs = 0;
}

int Misuses() {
  return misuses;
}

int Runs() {
  return runs;
}

}  // namespace pexo::fake

using pexo::fake::Current;

const char* zdl::DlSystem::getLastErrorString() {
  return pexo::fake::last_error;
}

namespace zdl::DlContainer {

std::unique_ptr<IDlContainer> IDlContainer::open(const DlSystem::String& path) {
  return pexo::fake::Open(*path.c_str() != 0);
}
std::unique_ptr<IDlContainer> IDlContainer::open(const std::vector<uint8_t>& bytes) {
  return pexo::fake::Open(!bytes.empty());
}

}  // namespace zdl::DlContainer

namespace zdl::SNPE {

struct SNPEBuilder::Settings {
  pexo::fake::Container* container;
  int right = 0;  // calls that ask for what they should; there are five to make
};

SNPEBuilder::SNPEBuilder(DlContainer::IDlContainer* container)
    : settings_(new Settings{static_cast<pexo::fake::Container*>(container)}) {}
SNPEBuilder::~SNPEBuilder() = default;

SNPEBuilder& SNPEBuilder::setOutputLayers(const DlSystem::StringList& layers) {
  return settings_->right += layers.size() == 0, *this;
}
SNPEBuilder& SNPEBuilder::setRuntimeProcessor(DlSystem::Runtime_t runtime) {
  const std::set<int> runtimes = Current().runtimes;
  const int number = static_cast<int>(runtime);
  return settings_->right += runtimes.empty() ? number == 0 : runtimes.contains(number), *this;
}
SNPEBuilder& SNPEBuilder::setPlatformConfig(const DlSystem::PlatformConfig& config) {
  return settings_->right += config.getPlatformOptions().empty(), *this;
}
SNPEBuilder& SNPEBuilder::setUseUserSuppliedBuffers(bool use) {
  return settings_->right += use, *this;
}
SNPEBuilder& SNPEBuilder::setInitCacheMode(bool cache) {
  return settings_->right += cache, *this;
}

std::unique_ptr<SNPE> SNPEBuilder::build() {
  const pexo::fake::Engine engine = Current();
  pexo::fake::Container* const container = settings_->container;
  if (container != nullptr && settings_->right == 5 && engine.builds) {
    return std::make_unique<pexo::fake::Network>(engine, *container);
  }
  pexo::fake::last_error = container != nullptr ? "cannot build" : "no container";
  return nullptr;
}

bool SNPEFactory::isRuntimeAvailable(DlSystem::Runtime_t runtime) {
  if (Current().runtimes.contains(static_cast<int>(runtime))) return true;
  pexo::fake::last_error = "no such runtime";
  return false;
}
DlSystem::IUserBufferFactory& SNPEFactory::getUserBufferFactory() {
  static pexo::fake::BufferFactory factory;
  return factory;
}

}  // namespace zdl::SNPE
