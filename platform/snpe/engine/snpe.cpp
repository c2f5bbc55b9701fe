// SPDX-License-Identifier: Apache-2.0
// The engine's classes, as callers see them.
#include "SNPE/SNPE.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "DlContainer/IDlContainer.hpp"
#include "SNPE/SNPEBuilder.hpp"
#include "SNPE/SNPEFactory.hpp"
#include "engine/bounds.h"
#include "engine/container.h"
#include "engine/error.h"
#include "engine/last_error.h"
#include "engine/model.h"
#include "engine/user_buffer.h"
#include "engine/xnn_network.h"
#include "pexo_host/engine.h"

namespace pexo::engine {
namespace {

using zdl::DlSystem::IBufferAttributes;
using zdl::DlSystem::IUserBuffer;
using zdl::DlSystem::Optional;
using zdl::DlSystem::Runtime_t;
using zdl::DlSystem::StringList;
using zdl::DlSystem::TensorShape;
using zdl::DlSystem::UserBufferMap;

constexpr int kMaxThreads = 16;
std::atomic<int> threads_per_network{1};
std::atomic<bool> rewrites_wanted{true};
thread_local double last_invoke_seconds = 0.0;

class HostContainer final : public zdl::DlContainer::IDlContainer {
 public:
  explicit HostContainer(Container content) : content_(std::move(content)) {}
  const Container& content() const { return content_; }

 private:
  Container content_;
};

class Attributes final : public IBufferAttributes {
 public:
  explicit Attributes(TensorShape dimensions) : dimensions_(std::move(dimensions)) {}
  TensorShape getDims() const override { return dimensions_; }

 private:
  TensorShape dimensions_;
};

class HostNetwork final : public zdl::SNPE::SNPE {
 public:
  HostNetwork(const Container& container, bool user_buffers)
      : network_(
            ReadGraph(container, rewrites_wanted.load(std::memory_order_relaxed) ? Rewrites::kAll : Rewrites::kNone),
            threads_per_network.load(std::memory_order_relaxed)),
        transform_(container.transform),
        head_(container.head),
        user_buffers_(user_buffers),
        input_(container.input_name, network_.InputShape()),
        output_(container.output_name, OutputDimensions()) {}

  Optional<StringList> getInputTensorNames() const override { return NamesOf(input_); }
  Optional<StringList> getOutputTensorNames() const override { return NamesOf(output_); }

  Optional<IBufferAttributes*> getInputOutputBufferAttributes(const char* name) const override {
    for (const End* end : {&input_, &output_}) {
      if (name != nullptr && end->name == name) return Optional<IBufferAttributes*>(end->attributes.get());
    }
    SetLastError("the network has no input or output of that name");
    return {};
  }

  bool execute(const UserBufferMap& input, const UserBufferMap& output) override {
    return Guard(false, [&] {
      Require(user_buffers_, "the network was built without user buffers");
      const UserBuffer& from = FindBuffer(input, input_, "input");
      const UserBuffer& to = FindBuffer(output, output_, "output");
      if (from.IsFloat()) {
        ReadInput(from.Floats(), transform_, network_.Input());
      } else {
        ReadInput(from.Integers(), from.GetQuantization(), transform_, network_.Input());
      }
      const auto start = std::chrono::steady_clock::now();
      network_.Invoke();
      last_invoke_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      const ModelOutput result{network_.Output(), network_.OutputShape()[2], network_.OutputBlock()};
      if (to.IsFloat()) {
        WriteOutput(result, head_, to.Floats());
      } else {
        WriteOutput(result, head_, to.GetQuantization(), to.Integers());
      }
      return true;
    });
  }

 private:
  // What callers may know of the input or the output.
  struct End {
    End(const std::string& tensor_name, const std::vector<size_t>& dimensions)
        : name(tensor_name), attributes(std::make_unique<Attributes>(dimensions)) {
      names.append(name.c_str());
    }
    std::string name;
    StringList names;
    std::unique_ptr<Attributes> attributes;
  };

  static Optional<StringList> NamesOf(const End& end) {
    return Guard(Optional<StringList>(), [&] { return Optional<StringList>(end.names); });
  }

  std::vector<size_t> OutputDimensions() const {
    Shape shape = network_.OutputShape();
    shape.back() *= HeadChannels(head_.kind);
    return shape;
  }

  static const UserBuffer& FindBuffer(const UserBufferMap& map, const End& end, const char* role) {
    const IUserBuffer* found = map.getUserBuffer(end.name.c_str());
    Require(found != nullptr, "no buffer for the network's ", role, " \"", end.name, "\"");
    Require(map.size() == 1, "there are buffers for more than the network's one ", role);
    const auto* buffer = dynamic_cast<const UserBuffer*>(found);
    Require(buffer != nullptr, "the buffer of \"", end.name, "\" was not made by this engine");
    try {
      buffer->CheckFits(end.attributes->getDims());
    } catch (const Error& error) {
      Fail(role, " \"", end.name, "\": ", std::string(error.what()));
    }
    return *buffer;
  }

  XnnNetwork network_;
  InputTransform transform_;
  Head head_;
  bool user_buffers_;
  End input_;
  End output_;
};

std::unique_ptr<zdl::DlContainer::IDlContainer> OpenBytes(std::span<const uint8_t> bytes) {
  return std::make_unique<HostContainer>(ReadContainer(bytes));
}

}  // namespace
}  // namespace pexo::engine

using namespace pexo::engine;

std::unique_ptr<zdl::DlContainer::IDlContainer> zdl::DlContainer::IDlContainer::open(const uint8_t* bytes,
                                                                                     size_t size) {
  return Guard(std::unique_ptr<IDlContainer>(), [&] {
    Require(bytes != nullptr, "the container's address is null");
    return OpenBytes({bytes, size});
  });
}

std::unique_ptr<zdl::DlContainer::IDlContainer> zdl::DlContainer::IDlContainer::open(
    const std::vector<uint8_t>& bytes) {
  return Guard(std::unique_ptr<IDlContainer>(), [&] { return OpenBytes(bytes); });
}

std::unique_ptr<zdl::DlContainer::IDlContainer> zdl::DlContainer::IDlContainer::open(const std::string& path) {
  return Guard(std::unique_ptr<IDlContainer>(), [&] {
    try {
      return OpenBytes(ReadFile(path, kMaxContainerBytes));
    } catch (const Error& error) {
      Fail(path, ": ", std::string(error.what()));
    }
  });
}

std::unique_ptr<zdl::DlContainer::IDlContainer> zdl::DlContainer::IDlContainer::open(const DlSystem::String& path) {
  return Guard(std::unique_ptr<IDlContainer>(), [&] { return open(std::string(path.c_str())); });
}

struct zdl::SNPE::SNPEBuilder::Settings {
  explicit Settings(DlContainer::IDlContainer* source) : container(source) {}
  DlContainer::IDlContainer* container;
  DlSystem::StringList outputs;
  DlSystem::Runtime_t runtime = DlSystem::Runtime_t::CPU_FLOAT32;
  bool user_buffers = false;
};

zdl::SNPE::SNPEBuilder::SNPEBuilder(DlContainer::IDlContainer* container)
    : settings_(std::make_unique<Settings>(container)) {}
zdl::SNPE::SNPEBuilder::~SNPEBuilder() = default;

zdl::SNPE::SNPEBuilder& zdl::SNPE::SNPEBuilder::setOutputLayers(const DlSystem::StringList& layers) {
  settings_->outputs = layers;
  return *this;
}

zdl::SNPE::SNPEBuilder& zdl::SNPE::SNPEBuilder::setRuntimeProcessor(DlSystem::Runtime_t runtime) {
  settings_->runtime = runtime;
  return *this;
}

// The only processor here has nothing to configure.
zdl::SNPE::SNPEBuilder& zdl::SNPE::SNPEBuilder::setPlatformConfig(const DlSystem::PlatformConfig&) {
  return *this;
}

zdl::SNPE::SNPEBuilder& zdl::SNPE::SNPEBuilder::setUseUserSuppliedBuffers(bool use) {
  settings_->user_buffers = use;
  return *this;
}

// A build takes milliseconds: nothing is worth keeping.
zdl::SNPE::SNPEBuilder& zdl::SNPE::SNPEBuilder::setInitCacheMode(bool) {
  return *this;
}

std::unique_ptr<zdl::SNPE::SNPE> zdl::SNPE::SNPEBuilder::build() {
  return Guard(std::unique_ptr<SNPE>(), [&]() -> std::unique_ptr<SNPE> {
    Require(settings_->container != nullptr, "there is no container to build from");
    const auto* container = dynamic_cast<const HostContainer*>(settings_->container);
    Require(container != nullptr, "the container was not opened by this engine");
    Require(SNPEFactory::isRuntimeAvailable(settings_->runtime),
            "the runtime is not available: the host has the CPU's only");
    for (const char* layer : settings_->outputs) {
      Require(container->content().output_name == layer, "the model's output is not \"", layer, "\"");
    }
    return std::make_unique<HostNetwork>(container->content(), settings_->user_buffers);
  });
}

bool zdl::SNPE::SNPEFactory::isRuntimeAvailable(DlSystem::Runtime_t runtime) {
  return runtime == DlSystem::Runtime_t::CPU_FLOAT32;
}

zdl::DlSystem::IUserBufferFactory& zdl::SNPE::SNPEFactory::getUserBufferFactory() {
  static UserBufferFactory factory;
  return factory;
}

zdl::DlSystem::Version_t zdl::SNPE::SNPEFactory::getLibraryVersion() {
  return {.Major = 1, .Minor = 0, .Teeny = 0, .Build = "host"};
}

void pexoHostEngineSetThreads(int threads) {
  threads_per_network.store(std::clamp(threads, 1, kMaxThreads), std::memory_order_relaxed);
}

void pexoHostEngineSetRewrites(int wanted) {
  rewrites_wanted.store(wanted != 0, std::memory_order_relaxed);
}

double pexoHostEngineLastInvokeSeconds(void) {
  return last_invoke_seconds;
}
