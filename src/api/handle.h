// SPDX-License-Identifier: Apache-2.0
// The record behind the public handle, and the state that all handles share.
#ifndef PEXO_API_HANDLE_H_
#define PEXO_API_HANDLE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

#include "network/network.h"
#include "pexo/humanbodyseg.h"

namespace pexo {

inline constexpr size_t kModelPathBytes = HUMANBODYSEG_MODEL_PATH_MAX + 1;  // with the terminator

// Serialises the entries that read or change a handle.
extern std::mutex api_lock;

}  // namespace pexo

struct HumanBodySegHandle {
  HumanBodySegHandle() { model_path[0] = '\0'; }  // the rest of the path stays as it is

  // Only Uninit ends a network and its threads. Init and Destroy leak one that is still here, by `release()`.
  std::unique_ptr<pexo::Network> network;
  uint32_t layout_mode = 0;
  uint32_t rotation = 0;
  char model_path[pexo::kModelPathBytes];
  int32_t camera_direction = 0;
  int32_t effect_mode = 0;
};

#endif  // PEXO_API_HANDLE_H_
