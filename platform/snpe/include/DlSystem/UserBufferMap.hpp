// SPDX-License-Identifier: Apache-2.0
// User buffers by the names of their tensors.
#ifndef PEXO_DLSYSTEM_USER_BUFFER_MAP_HPP_
#define PEXO_DLSYSTEM_USER_BUFFER_MAP_HPP_

#include <cstddef>
#include <map>
#include <string>

#include "DlSystem/IUserBuffer.hpp"
#include "DlSystem/StringList.hpp"

namespace zdl::DlSystem {

// Does not own the buffers.
class UserBufferMap {
 public:
  // A second buffer under one name replaces the first.
  void add(const char* name, IUserBuffer* buffer) { buffers_[name] = buffer; }
  void remove(const char* name) { buffers_.erase(name); }
  void clear() { buffers_.clear(); }
  size_t size() const { return buffers_.size(); }

  // Null when there is none of that name.
  IUserBuffer* getUserBuffer(const char* name) const {
    const auto found = buffers_.find(name);
    return found != buffers_.end() ? found->second : nullptr;
  }

  StringList getUserBufferNames() const {
    StringList names;
    for (const auto& [name, buffer] : buffers_) names.append(name.c_str());
    return names;
  }

 private:
  std::map<std::string, IUserBuffer*> buffers_;
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_USER_BUFFER_MAP_HPP_
