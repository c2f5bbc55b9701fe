// SPDX-License-Identifier: Apache-2.0
// The engine's own user buffers.
#ifndef PEXO_ENGINE_USER_BUFFER_H_
#define PEXO_ENGINE_USER_BUFFER_H_

#include <cstdint>
#include <memory>
#include <span>
#include <variant>

#include "DlSystem/IUserBuffer.hpp"
#include "DlSystem/IUserBufferFactory.hpp"
#include "engine/heads.h"

namespace pexo::engine {

class UserBuffer final : public zdl::DlSystem::IUserBuffer {
 public:
  using Encoding = std::variant<zdl::DlSystem::UserBufferEncodingFloat, zdl::DlSystem::UserBufferEncodingTfN>;

  // Throws Error for arguments that no network could use.
  UserBuffer(void* address, size_t bytes, const zdl::DlSystem::TensorShape& strides,
             const zdl::DlSystem::UserBufferEncoding* encoding);

  size_t getSize() const override { return bytes_; }
  const zdl::DlSystem::TensorShape& getStrides() const override { return strides_; }
  const zdl::DlSystem::UserBufferEncoding& getEncoding() const override;
  bool setBufferAddress(void* address) override;

  // Throws Error unless the buffer holds exactly a dense tensor of these dimensions.
  void CheckFits(const zdl::DlSystem::TensorShape& dimensions) const;

  bool IsFloat() const { return std::holds_alternative<zdl::DlSystem::UserBufferEncodingFloat>(encoding_); }
  std::span<float> Floats() const { return {static_cast<float*>(address_), bytes_ / sizeof(float)}; }
  std::span<uint8_t> Integers() const { return {static_cast<uint8_t*>(address_), bytes_}; }
  Quantization GetQuantization() const;  // of integers

 private:
  void CheckAddress(const void* address) const;

  Encoding encoding_;
  void* address_;
  size_t bytes_;
  zdl::DlSystem::TensorShape strides_;
};

class UserBufferFactory final : public zdl::DlSystem::IUserBufferFactory {
 public:
  std::unique_ptr<zdl::DlSystem::IUserBuffer> createUserBuffer(void* buffer, size_t bytes,
                                                               const zdl::DlSystem::TensorShape& strides,
                                                               zdl::DlSystem::UserBufferEncoding* encoding) override;
};

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_USER_BUFFER_H_
