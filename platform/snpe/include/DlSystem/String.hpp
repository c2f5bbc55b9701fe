// SPDX-License-Identifier: Apache-2.0
// A string at the engine's border.
#ifndef PEXO_DLSYSTEM_STRING_HPP_
#define PEXO_DLSYSTEM_STRING_HPP_

#include <string>

namespace zdl::DlSystem {

// The constructors are explicit: otherwise a literal would fit IDlContainer::open in two ways.
class String {
 public:
  explicit String(const std::string& text) : text_(text) {}
  explicit String(const char* text) : text_(text != nullptr ? text : "") {}

  const char* c_str() const { return text_.c_str(); }

 private:
  std::string text_;
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_STRING_HPP_
