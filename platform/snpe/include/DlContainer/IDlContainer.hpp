// SPDX-License-Identifier: Apache-2.0
// A model file, opened.
#ifndef PEXO_DLCONTAINER_I_DL_CONTAINER_HPP_
#define PEXO_DLCONTAINER_I_DL_CONTAINER_HPP_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "DlSystem/String.hpp"
#include "DlSystem/Visibility.hpp"

namespace zdl::DlContainer {

class PEXO_ENGINE_API IDlContainer {
 public:
  virtual ~IDlContainer() = default;

  // From a file, or from the whole content of one. Null on failure, never an exception;
  // zdl::DlSystem::getLastErrorString() says why. The bytes may go once the call has returned.
  static std::unique_ptr<IDlContainer> open(const DlSystem::String& path);
  static std::unique_ptr<IDlContainer> open(const std::string& path);
  static std::unique_ptr<IDlContainer> open(const std::vector<uint8_t>& bytes);
  static std::unique_ptr<IDlContainer> open(const uint8_t* bytes, size_t size);
};

}  // namespace zdl::DlContainer

#endif  // PEXO_DLCONTAINER_I_DL_CONTAINER_HPP_
