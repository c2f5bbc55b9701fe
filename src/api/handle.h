// The record behind the public handle, and the state that all handles share.
#ifndef PEXO_API_HANDLE_H_
#define PEXO_API_HANDLE_H_

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "network/network.h"
#include "pexo/humanbodyseg.h"

namespace pexo {

inline constexpr size_t kModelPathBytes = 128;  // with the terminator

// Serialises the entries that read or change a handle.
extern std::mutex api_lock;

}  // namespace pexo

struct HumanBodySegHandle {
  // Owned, but not released with the record: Init replaces it and Destroy drops it as they stand, so only Uninit ends a
  // network and its threads.
  pexo::Network* network;
  uint32_t layout_mode;
  uint32_t rotation;
  char model_path[pexo::kModelPathBytes];
  int32_t camera_direction;
  int32_t effect_mode;
};

#endif  // PEXO_API_HANDLE_H_
