// SPDX-License-Identifier: Apache-2.0
// What the engine offers on this machine.
#ifndef PEXO_SNPE_SNPE_FACTORY_HPP_
#define PEXO_SNPE_SNPE_FACTORY_HPP_

#include "DlSystem/DlEnums.hpp"
#include "DlSystem/DlVersion.hpp"
#include "DlSystem/IUserBufferFactory.hpp"
#include "DlSystem/Visibility.hpp"

namespace zdl::SNPE {

class PEXO_ENGINE_API SNPEFactory {
 public:
  static bool isRuntimeAvailable(DlSystem::Runtime_t runtime);
  static DlSystem::IUserBufferFactory& getUserBufferFactory();
  static DlSystem::Version_t getLibraryVersion();
};

}  // namespace zdl::SNPE

#endif  // PEXO_SNPE_SNPE_FACTORY_HPP_
