// SPDX-License-Identifier: Apache-2.0
// A value that may be absent.
#ifndef PEXO_DLSYSTEM_DL_OPTIONAL_HPP_
#define PEXO_DLSYSTEM_DL_OPTIONAL_HPP_

#include <cassert>
#include <cstdlib>
#include <optional>
#include <utility>

namespace zdl::DlSystem {

template <typename T>
class Optional {
 public:
  Optional() = default;
  Optional(T value) : value_(std::move(value)) {}

  explicit operator bool() const { return value_.has_value(); }

  // Test first: an empty one has nothing to give and ends the process.
  const T& operator*() const {
    EndIfEmpty();
    return *value_;
  }
  T& operator*() {
    EndIfEmpty();
    return *value_;
  }

 private:
  void EndIfEmpty() const {
    assert(value_.has_value() && "an empty Optional was dereferenced");
    if (!value_) std::abort();
  }

  std::optional<T> value_;
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_DL_OPTIONAL_HPP_
