// SPDX-License-Identifier: Apache-2.0
// A list of names.
#ifndef PEXO_DLSYSTEM_STRING_LIST_HPP_
#define PEXO_DLSYSTEM_STRING_LIST_HPP_

#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

namespace zdl::DlSystem {

// Keeps copies of the names; a range-for over it yields `const char*`, valid as long as the list is unchanged.
class StringList {
 public:
  class const_iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = const char*;
    using difference_type = std::ptrdiff_t;
    using pointer = const char* const*;
    using reference = const char*;

    const_iterator() = default;
    explicit const_iterator(std::vector<std::string>::const_iterator at) : at_(at) {}

    reference operator*() const { return at_->c_str(); }
    const_iterator& operator++() {
      ++at_;
      return *this;
    }
    const_iterator operator++(int) {
      const_iterator before = *this;
      ++at_;
      return before;
    }
    friend bool operator==(const const_iterator& a, const const_iterator& b) { return a.at_ == b.at_; }
    friend bool operator!=(const const_iterator& a, const const_iterator& b) { return a.at_ != b.at_; }

   private:
    std::vector<std::string>::const_iterator at_;
  };

  // A null name is not kept.
  void append(const char* name) {
    if (name != nullptr) names_.emplace_back(name);
  }

  // The name at an index, null behind the end.
  const char* at(size_t index) const { return index < names_.size() ? names_[index].c_str() : nullptr; }
  size_t size() const { return names_.size(); }
  const_iterator begin() const { return const_iterator(names_.begin()); }
  const_iterator end() const { return const_iterator(names_.end()); }

 private:
  std::vector<std::string> names_;
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_STRING_LIST_HPP_
