// SPDX-License-Identifier: Apache-2.0
// Processors that a network can run on.
#ifndef PEXO_DLSYSTEM_DL_ENUMS_HPP_
#define PEXO_DLSYSTEM_DL_ENUMS_HPP_

#include <cstdint>

namespace zdl::DlSystem {

enum class Runtime_t : int32_t {
  UNSET = -1,
  CPU_FLOAT32 = 0,
  GPU_FLOAT32_16_HYBRID = 1,
  DSP_FIXED8_TF = 2,
  GPU_FLOAT16 = 3,
  CPU_FIXED8_TF = 4,
  AIP_FIXED8_TF = 5,

  CPU = CPU_FLOAT32,
  GPU = GPU_FLOAT32_16_HYBRID,
  DSP = DSP_FIXED8_TF,
};

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_DL_ENUMS_HPP_
