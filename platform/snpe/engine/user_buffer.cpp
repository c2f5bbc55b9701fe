// SPDX-License-Identifier: Apache-2.0
#include "engine/user_buffer.h"

#include <cmath>
#include <string>

#include "engine/error.h"
#include "engine/last_error.h"

namespace pexo::engine {

using zdl::DlSystem::TensorShape;
using zdl::DlSystem::UserBufferEncoding;
using zdl::DlSystem::UserBufferEncodingFloat;
using zdl::DlSystem::UserBufferEncodingTfN;

namespace {

UserBuffer::Encoding CopyEncoding(const UserBufferEncoding* encoding) {
  Require(encoding != nullptr, "the buffer has no encoding");
  switch (encoding->getElementType()) {
    case UserBufferEncoding::ElementType_t::FLOAT:
      return UserBufferEncodingFloat();
    case UserBufferEncoding::ElementType_t::TF8: {
      const auto* tf8 = dynamic_cast<const UserBufferEncodingTfN*>(encoding);
      Require(tf8 != nullptr, "the buffer's encoding is of an unknown class");
      Require(tf8->getStepExactly0() <= 255, "the encoding's step for 0 does not fit 8 bits");
      const float step = tf8->getQuantizedStepSize();
      Require(std::isnormal(step) && step > 0.0f, "the encoding's step size is not a positive number");
      return *tf8;
    }
    default:
      Fail("the buffer's encoding is neither 8 bits wide nor float");
  }
}

std::string Text(const TensorShape& shape) {
  std::string text;
  for (size_t i = 0; i < shape.rank(); ++i) text += (i == 0 ? "" : " x ") + std::to_string(shape[i]);
  return text;
}

}  // namespace

UserBuffer::UserBuffer(void* address, size_t bytes, const TensorShape& strides, const UserBufferEncoding* encoding)
    : encoding_(CopyEncoding(encoding)), address_(address), bytes_(bytes), strides_(strides) {
  Require(bytes > 0, "the buffer's size is 0");
  Require(strides.rank() > 0, "the buffer has no strides");
  CheckAddress(address);
}

const UserBufferEncoding& UserBuffer::getEncoding() const {
  return std::visit([](const UserBufferEncoding& encoding) -> const UserBufferEncoding& { return encoding; },
                    encoding_);
}

bool UserBuffer::setBufferAddress(void* address) {
  return Guard(false, [&] {
    CheckAddress(address);
    address_ = address;
    return true;
  });
}

void UserBuffer::CheckAddress(const void* address) const {
  Require(address != nullptr, "the buffer's address is null");
  Require(!IsFloat() || reinterpret_cast<uintptr_t>(address) % alignof(float) == 0,
          "the buffer's address is not aligned for floats");
}

void UserBuffer::CheckFits(const TensorShape& dimensions) const {
  TensorShape dense = dimensions;  // of the right rank
  size_t bytes = getEncoding().getElementSize();
  for (size_t i = dimensions.rank(); i-- > 0;) {
    dense[i] = bytes;
    bytes *= dimensions[i];
  }
  Require(bytes_ == bytes, "the buffer has ", std::to_string(bytes_), " bytes where the tensor of ", Text(dimensions),
          " elements needs ", std::to_string(bytes));
  Require(strides_ == dense, "the buffer's strides are ", Text(strides_), " bytes where the tensor needs ",
          Text(dense));
}

Quantization UserBuffer::GetQuantization() const {
  const auto& tf8 = std::get<UserBufferEncodingTfN>(encoding_);
  return {.zero = static_cast<double>(tf8.getStepExactly0()), .step = tf8.getQuantizedStepSize()};
}

std::unique_ptr<zdl::DlSystem::IUserBuffer> UserBufferFactory::createUserBuffer(void* buffer, size_t bytes,
                                                                                const TensorShape& strides,
                                                                                UserBufferEncoding* encoding) {
  return Guard(std::unique_ptr<zdl::DlSystem::IUserBuffer>(), [&]() -> std::unique_ptr<zdl::DlSystem::IUserBuffer> {
    return std::make_unique<UserBuffer>(buffer, bytes, strides, encoding);
  });
}

}  // namespace pexo::engine
