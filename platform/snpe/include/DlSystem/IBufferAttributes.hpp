// SPDX-License-Identifier: Apache-2.0
// What a network says of one of its inputs or outputs.
#ifndef PEXO_DLSYSTEM_I_BUFFER_ATTRIBUTES_HPP_
#define PEXO_DLSYSTEM_I_BUFFER_ATTRIBUTES_HPP_

#include "DlSystem/TensorShape.hpp"
#include "DlSystem/Visibility.hpp"

namespace zdl::DlSystem {

class PEXO_ENGINE_API IBufferAttributes {
 public:
  virtual ~IBufferAttributes() = default;

  // Batch, height, width, depth, in elements.
  virtual TensorShape getDims() const = 0;
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_I_BUFFER_ATTRIBUTES_HPP_
