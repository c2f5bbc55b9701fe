// SPDX-License-Identifier: Apache-2.0
// Makes user buffers.
#ifndef PEXO_DLSYSTEM_I_USER_BUFFER_FACTORY_HPP_
#define PEXO_DLSYSTEM_I_USER_BUFFER_FACTORY_HPP_

#include <cstddef>
#include <memory>

#include "DlSystem/IUserBuffer.hpp"
#include "DlSystem/TensorShape.hpp"
#include "DlSystem/Visibility.hpp"

namespace zdl::DlSystem {

class PEXO_ENGINE_API IUserBufferFactory {
 public:
  virtual ~IUserBufferFactory() = default;

  // Binds memory of the caller's. `bytes` and `strides` count bytes: a dense float tensor of 2 x 4 x 3 has 96 bytes and
  // the strides 48, 12, 4. The encoding is copied. Null when an argument is unusable; getLastErrorString() says why.
  virtual std::unique_ptr<IUserBuffer> createUserBuffer(void* buffer, size_t bytes, const TensorShape& strides,
                                                        UserBufferEncoding* encoding) = 0;
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_I_USER_BUFFER_FACTORY_HPP_
