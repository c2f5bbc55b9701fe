// SPDX-License-Identifier: Apache-2.0
// Settings of the processor a network runs on.
#ifndef PEXO_DLSYSTEM_PLATFORM_CONFIG_HPP_
#define PEXO_DLSYSTEM_PLATFORM_CONFIG_HPP_

#include <cstdint>
#include <string>

namespace zdl::DlSystem {

class PlatformConfig {
 public:
  enum class PlatformType_t : int32_t { UNKNOWN = 0 };

  PlatformType_t getPlatformType() const { return PlatformType_t::UNKNOWN; }
  std::string getPlatformOptions() const { return options_; }
  bool setPlatformOptions(const std::string& options) {
    options_ = options;
    return true;
  }

 private:
  std::string options_;
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_PLATFORM_CONFIG_HPP_
