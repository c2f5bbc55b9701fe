// SPDX-License-Identifier: Apache-2.0
// The engine's version.
#ifndef PEXO_DLSYSTEM_DL_VERSION_HPP_
#define PEXO_DLSYSTEM_DL_VERSION_HPP_

#include <cstdint>
#include <string>

namespace zdl::DlSystem {

struct Version_t {
  int32_t Major = 0;
  int32_t Minor = 0;
  int32_t Teeny = 0;
  std::string Build;  // freely chosen, may be empty

  // "major.minor.teeny", with ".build" behind it where there is one.
  std::string asString() const {
    std::string text = std::to_string(Major) + '.' + std::to_string(Minor) + '.' + std::to_string(Teeny);
    return Build.empty() ? text : text + '.' + Build;
  }
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_DL_VERSION_HPP_
