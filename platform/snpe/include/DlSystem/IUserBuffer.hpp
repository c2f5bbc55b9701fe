// SPDX-License-Identifier: Apache-2.0
// Memory of the caller's that a network reads its input from or writes its output to.
#ifndef PEXO_DLSYSTEM_I_USER_BUFFER_HPP_
#define PEXO_DLSYSTEM_I_USER_BUFFER_HPP_

#include <cstddef>
#include <cstdint>

#include "DlSystem/TensorShape.hpp"
#include "DlSystem/Visibility.hpp"

namespace zdl::DlSystem {

// How the elements of a buffer stand for real values.
class PEXO_ENGINE_API UserBufferEncoding {
 public:
  enum class ElementType_t : int32_t { UNKNOWN = 0, FLOAT = 1, TF8 = 2, TF16 = 3 };

  virtual ~UserBufferEncoding() = default;
  ElementType_t getElementType() const { return type_; }
  // Bytes of one element; 0 for an unknown type.
  size_t getElementSize() const {
    switch (type_) {
      case ElementType_t::FLOAT:
        return 4;
      case ElementType_t::TF8:
        return 1;
      case ElementType_t::TF16:
        return 2;
      case ElementType_t::UNKNOWN:
        break;
    }
    return 0;
  }

 protected:
  explicit UserBufferEncoding(ElementType_t type) : type_(type) {}
  UserBufferEncoding(const UserBufferEncoding&) = default;
  UserBufferEncoding& operator=(const UserBufferEncoding&) = default;

 private:
  ElementType_t type_;
};

// 32-bit floats of the machine's own byte order.
class PEXO_ENGINE_API UserBufferEncodingFloat : public UserBufferEncoding {
 public:
  UserBufferEncodingFloat() : UserBufferEncoding(ElementType_t::FLOAT) {}
};

// Unsigned integers q that stand for (q - stepExactly0) * stepSize.
class PEXO_ENGINE_API UserBufferEncodingTfN : public UserBufferEncoding {
 public:
  UserBufferEncodingTfN(uint64_t stepFor0, float stepSize, uint8_t width = 8)
      : UserBufferEncoding(getTypeFromWidth(width)), step_exactly_0_(stepFor0), step_size_(stepSize) {}

  // The element type of integers `width` bits wide: 8 and 16 are known.
  static ElementType_t getTypeFromWidth(uint8_t width) {
    return width == 8 ? ElementType_t::TF8 : width == 16 ? ElementType_t::TF16 : ElementType_t::UNKNOWN;
  }

  void setStepExactly0(uint64_t stepExactly0) { step_exactly_0_ = stepExactly0; }
  void setQuantizedStepSize(float stepSize) { step_size_ = stepSize; }
  uint64_t getStepExactly0() const { return step_exactly_0_; }
  float getQuantizedStepSize() const { return step_size_; }

 private:
  uint64_t step_exactly_0_;
  float step_size_;
};

// Made by IUserBufferFactory; does not own the caller's memory, which must outlive every execute that uses it.
class PEXO_ENGINE_API IUserBuffer {
 public:
  virtual ~IUserBuffer() = default;

  virtual size_t getSize() const = 0;                 // bytes
  virtual const TensorShape& getStrides() const = 0;  // bytes, slowest dimension first
  virtual const UserBufferEncoding& getEncoding() const = 0;
  // Other memory of the same size; false for null.
  virtual bool setBufferAddress(void* buffer) = 0;
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_I_USER_BUFFER_HPP_
