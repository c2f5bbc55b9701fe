// SPDX-License-Identifier: Apache-2.0
// The sizes of a tensor's dimensions, or its strides.
#ifndef PEXO_DLSYSTEM_TENSOR_SHAPE_HPP_
#define PEXO_DLSYSTEM_TENSOR_SHAPE_HPP_

#include <cstddef>
#include <initializer_list>
#include <vector>

namespace zdl::DlSystem {

// Slowest dimension first: batch, height, width, depth.
class TensorShape {
 public:
  TensorShape() = default;
  TensorShape(std::initializer_list<size_t> dimensions) : dimensions_(dimensions) {}
  TensorShape(const std::vector<size_t>& dimensions) : dimensions_(dimensions) {}
  TensorShape(const size_t* dimensions, size_t rank) : dimensions_(dimensions, dimensions + rank) {}

  size_t rank() const { return dimensions_.size(); }
  const size_t* getDimensions() const { return dimensions_.data(); }
  // Legal for indices below rank().
  size_t operator[](size_t index) const { return dimensions_[index]; }
  size_t& operator[](size_t index) { return dimensions_[index]; }

  friend bool operator==(const TensorShape& a, const TensorShape& b) { return a.dimensions_ == b.dimensions_; }
  friend bool operator!=(const TensorShape& a, const TensorShape& b) { return !(a == b); }

 private:
  std::vector<size_t> dimensions_;
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_TENSOR_SHAPE_HPP_
