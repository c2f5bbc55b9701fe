// SPDX-License-Identifier: Apache-2.0
#include "snpe/snpe_helper.h"

#include <DlSystem/DlError.hpp>
#include <DlSystem/PlatformConfig.hpp>
#include <DlSystem/String.hpp>
#include <DlSystem/StringList.hpp>
#include <SNPE/SNPEBuilder.hpp>
#include <SNPE/SNPEFactory.hpp>

#include "common/log.h"

namespace pexo {
namespace {

using zdl::DlSystem::Runtime_t;

// The engine's reason for the last failure of this thread. A copy: the next failing call overwrites the text.
std::string LastError() {
  const auto reason = zdl::DlSystem::getLastErrorString();
  return reason == nullptr ? std::string() : std::string(reason);
}

bool IsAvailable(int32_t runtime) {
  return zdl::SNPE::SNPEFactory::isRuntimeAvailable(static_cast<Runtime_t>(runtime));
}

template <typename Names>
TensorShapes ShapesOf(zdl::SNPE::SNPE& snpe, const Names& names) {
  TensorShapes shapes;
  if (!names) return shapes;
  for (const char* name : *names) {
    const auto attributes = snpe.getInputOutputBufferAttributes(name);
    if (!attributes) return {};
    shapes.emplace(name, (*attributes)->getDims());
  }
  return shapes;
}

}  // namespace

snpe_helper::snpe_helper(int32_t runtime, const std::string& path) : model_path(path) {
  const int32_t available = AvailableOrCpu(runtime);
  container = zdl::DlContainer::IDlContainer::open(zdl::DlSystem::String(path));
  Build(available);
}

snpe_helper::snpe_helper(int32_t runtime, const std::vector<uint8_t>& model) {
  const int32_t available = AvailableOrCpu(runtime);
  container = zdl::DlContainer::IDlContainer::open(model);
  Build(available);
}

int32_t snpe_helper::AvailableOrCpu(int32_t runtime) const {
  if (IsAvailable(runtime)) return runtime;
  // The line carries the model's path: it tells which of several networks runs slowly.
  PEXO_LOG("%s Runtime is not supported, use CPU mode!", model_path.c_str());
  return static_cast<int32_t>(Runtime_t::CPU_FLOAT32);
}

void snpe_helper::Build(int32_t runtime) {
  // A container that did not open shows as a failing build, whose own reason would hide the one that counts.
  std::string reason = container == nullptr ? LastError() : std::string();
  zdl::DlSystem::PlatformConfig platform_config;
  zdl::DlSystem::StringList output_layers;  // empty: the model's own
  zdl::SNPE::SNPEBuilder builder(container.get());
  builder.setOutputLayers(output_layers);
  builder.setRuntimeProcessor(static_cast<Runtime_t>(runtime));
  builder.setPlatformConfig(platform_config);
  builder.setUseUserSuppliedBuffers(true);
  builder.setInitCacheMode(true);
  snpe = builder.build();
  if (snpe != nullptr) return;
  if (container != nullptr) reason = LastError();
  PEXO_LOG("zdl::SNPE::SNPEBuilder build failed.");
  if (!reason.empty()) PEXO_LOG("%s", reason.c_str());
}

std::set<int32_t> snpe_helper::GetAvailableRuntimes() {
  std::set<int32_t> runtimes;
  for (int32_t runtime = 0; runtime < kListedRuntimes; ++runtime) {
    if (IsAvailable(runtime)) runtimes.insert(runtime);
  }
  return runtimes;
}

std::set<std::string> snpe_helper::GetAvailableRuntimeNames() {
  std::set<std::string> names;
  for (const int32_t runtime : GetAvailableRuntimes()) names.insert(RuntimeNameTable[runtime]);
  return names;
}

TensorShapes snpe_helper::GetInputTensorShapes() const {
  return snpe == nullptr ? TensorShapes{} : ShapesOf(*snpe, snpe->getInputTensorNames());
}

TensorShapes snpe_helper::GetOutputTensorShapes() const {
  return snpe == nullptr ? TensorShapes{} : ShapesOf(*snpe, snpe->getOutputTensorNames());
}

}  // namespace pexo
