// SPDX-License-Identifier: Apache-2.0
// Builds a network from a container.
#ifndef PEXO_SNPE_SNPE_BUILDER_HPP_
#define PEXO_SNPE_SNPE_BUILDER_HPP_

#include <memory>

#include "DlContainer/IDlContainer.hpp"
#include "DlSystem/DlEnums.hpp"
#include "DlSystem/PlatformConfig.hpp"
#include "DlSystem/StringList.hpp"
#include "DlSystem/Visibility.hpp"
#include "SNPE/SNPE.hpp"

namespace zdl::SNPE {

class PEXO_ENGINE_API SNPEBuilder {
 public:
  // The container stays the caller's and must outlive build() and what it makes; null fails in build().
  explicit SNPEBuilder(DlContainer::IDlContainer* container);
  ~SNPEBuilder();
  SNPEBuilder(const SNPEBuilder&) = delete;
  SNPEBuilder& operator=(const SNPEBuilder&) = delete;

  // The layers whose results are wanted; an empty list means the model's own last layer.
  SNPEBuilder& setOutputLayers(const DlSystem::StringList& layers);
  SNPEBuilder& setRuntimeProcessor(DlSystem::Runtime_t runtime);
  SNPEBuilder& setPlatformConfig(const DlSystem::PlatformConfig& config);
  // True: execute() takes user buffers.
  SNPEBuilder& setUseUserSuppliedBuffers(bool use);
  // True: what the runtime prepares may be kept in the container for the next build.
  SNPEBuilder& setInitCacheMode(bool cache);

  // Null on failure; zdl::DlSystem::getLastErrorString() says why.
  std::unique_ptr<SNPE> build();

 private:
  struct Settings;  // the library's own
  std::unique_ptr<Settings> settings_;
};

}  // namespace zdl::SNPE

#endif  // PEXO_SNPE_SNPE_BUILDER_HPP_
