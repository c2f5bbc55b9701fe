// SPDX-License-Identifier: Apache-2.0
// The life of a handle, and its parameters.
#include "api/handle.h"

#include <cstring>
#include <new>

#include "common/log.h"

namespace pexo {

std::mutex api_lock;

namespace {

template <typename Value>
void Store(Value& field, const void* value) {
  std::memcpy(&field, value, sizeof(field));  // the caller's value need not be aligned
}

int32_t StoreModelPath(HumanBodySegHandle& handle, const char* path) {
  const size_t length = strnlen(path, kModelPathBytes);
  if (length == kModelPathBytes) {
    PEXO_LOG("Model path is longer than %d characters!", static_cast<int>(kModelPathBytes - 1));
    return HUMANBODYSEG_ERR_PARAM;
  }
  // The new path may be the handle's own field.
  std::memmove(handle.model_path, path, length + 1);
  return HUMANBODYSEG_OK;
}

}  // namespace
}  // namespace pexo

using pexo::api_lock;
using pexo::log_level;

HumanBodySegHandle* pexoHumanBodySegCreate(void) {
  PEXO_LOG("Enter pexoHumanBodySegCreate!");
  PEXO_LOG("Current version = [%s]", pexoHumanBodySegGetVersion()->version_string);
  const std::lock_guard lock(api_lock);
  auto* handle = new (std::nothrow) HumanBodySegHandle;
  if (handle == nullptr) {
    PEXO_LOG("Handle is null!");
    return nullptr;
  }
  PEXO_LOG("Exit pexoHumanBodySegCreate!");
  return handle;
}

int32_t pexoHumanBodySegSetParam(HumanBodySegHandle* handle, int32_t key, const void* value) {
  const std::lock_guard lock(api_lock);
  if (handle == nullptr || value == nullptr) {
    PEXO_LOG("Handle or value is null!");
    return HUMANBODYSEG_ERR_PARAM;
  }
  switch (key) {
    case PARAM_LAYOUT_MODE:
      pexo::Store(handle->layout_mode, value);
      return HUMANBODYSEG_OK;
    case PARAM_MODEL_PATH:
      return pexo::StoreModelPath(*handle, static_cast<const char*>(value));
    case PARAM_ROTATION:
      pexo::Store(handle->rotation, value);
      return HUMANBODYSEG_OK;
    case PARAM_CAMERA_DIRECTION:
      pexo::Store(handle->camera_direction, value);
      return HUMANBODYSEG_OK;
    case PARAM_EFFECT_MODE:
      pexo::Store(handle->effect_mode, value);
      return HUMANBODYSEG_OK;
    default:
      PEXO_LOG("Unsupported key = %d!", static_cast<int>(key));
      return HUMANBODYSEG_ERR_UNSUPPORTED;
  }
}

int32_t pexoHumanBodySegSetLogLevel(HumanBodySegHandle* handle, int32_t level) {
  PEXO_LOG("Enter pexoHumanBodySegSetLogLevel!");
  const std::lock_guard lock(api_lock);
  if (handle == nullptr) {
    PEXO_LOG("Handle is null!");
    return HUMANBODYSEG_ERR_NULL;
  }
  log_level = level;
  PEXO_LOG("Exit pexoHumanBodySegSetLogLevel!");
  return HUMANBODYSEG_OK;
}

float pexoHumanBodyGetExecuteTime(HumanBodySegHandle* handle) {
  if (handle == nullptr) {
    PEXO_LOG("handle is null!");
    return 0.0f;
  }
  if (handle->network == nullptr) {
    PEXO_LOG("network is null!");
    return 0.0f;
  }
  return handle->network->GetExecuteTime();
}

void pexoHumanBodySegUninit(HumanBodySegHandle* handle) try {
  PEXO_LOG("Enter pexoHumanBodySegUninit!");
  const std::lock_guard lock(api_lock);
  if (handle == nullptr) {
    PEXO_LOG("Handle is null!");
    return;
  }
  if (handle->network == nullptr) {
    PEXO_LOG("Network is null!");
    return;
  }
  handle->network->Uninit();
  handle->network.reset();
  PEXO_LOG("Exit pexoHumanBodySegUninit!");
} catch (...) {
  // Nothing that Uninit does throws of itself; a foreign library's exception must not reach the caller.
}

void pexoHumanBodySegDestroy(HumanBodySegHandle* handle) {
  PEXO_LOG("Enter pexoHumanBodySegDestroy!");
  const std::lock_guard lock(api_lock);
  if (handle == nullptr) {
    PEXO_LOG("Handle is null!");
    return;
  }
  static_cast<void>(handle->network.release());  // leaked: the caller has left Uninit out
  delete handle;
  PEXO_LOG("Exit pexoHumanBodySegDestroy!");
}
