// SPDX-License-Identifier: Apache-2.0
// pexoHumanBodySegInit: from parameters to a network that is ready for frames.
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "api/handle.h"
#include "common/log.h"
#include "pipeline/multiply_thread_network.h"
#include "pipeline/sequence_thread_network.h"
#include "snpe/snpe_network.h"

namespace pexo {
namespace {

constexpr char kDefaultModelPath[] = "/vendor/camera3rd/qmx/MoviePortraitBig.dlc";
static_assert(sizeof(kDefaultModelPath) <= kModelPathBytes);

int32_t RejectDirection() {
  PEXO_LOG("Unsupported CameraDirection param!");
  return HUMANBODYSEG_ERR_PARAM;
}

// A new network, or null and a line in the log when memory is short.
template <typename Kind, typename... Arguments>
std::unique_ptr<Kind> MakeNetwork(Arguments&&... arguments) try {
  return std::make_unique<Kind>(std::forward<Arguments>(arguments)...);
} catch (const std::bad_alloc&) {
  PEXO_LOG("Network is null!");
  return nullptr;
}

// A network that fails to initialise does not stay with the handle.
int32_t InitMaskView(HumanBodySegHandle& handle) {
  if (handle.camera_direction < 0) return RejectDirection();
  static_cast<void>(handle.network.release());  // leaked: the caller has left Uninit out
  auto network = MakeNetwork<SnpeNetwork>(handle.model_path);
  if (network == nullptr) return HUMANBODYSEG_ERR_FAILED;
  const int32_t status = network->Init();
  if (status == kNetworkOk) handle.network = std::move(network);
  PEXO_LOG("Exit pexoHumanBodySegInit!");
  return status;
}

// Whatever fails afterwards, the pipeline stays with the handle until Uninit.
template <typename Pipeline>
int32_t InitPipeline(HumanBodySegHandle& handle) {
  static_cast<void>(handle.network.release());  // leaked: the caller has left Uninit out
  auto owned = MakeNetwork<Pipeline>();
  if (owned == nullptr) return HUMANBODYSEG_ERR_FAILED;
  Pipeline& pipeline = *owned;
  handle.network = std::move(owned);
  if (handle.camera_direction < 0) return RejectDirection();
  if (handle.model_path[0] == '\0') std::memcpy(handle.model_path, kDefaultModelPath, sizeof(kDefaultModelPath));
  const int32_t inserted = pipeline.InsertNetworkMacro(handle.model_path);
  if (inserted != kNetworkOk) {
    PEXO_LOG("Ret value of InsertNetworkMacro = %d!", static_cast<int>(inserted));
    return inserted;
  }
  const int32_t status = pipeline.Init();
  PEXO_LOG("Exit pexoHumanBodySegInit!");
  return status;
}

}  // namespace
}  // namespace pexo

int32_t pexoHumanBodySegInit(HumanBodySegHandle* handle) try {
  PEXO_LOG("Enter pexoHumanBodySegInit!");
  const std::lock_guard lock(pexo::api_lock);
  if (handle == nullptr) {
    PEXO_LOG("Handle is null!");
    return HUMANBODYSEG_ERR_NULL;
  }
  PEXO_LOG("Camera direction = %d, effect mode = %d", static_cast<int>(handle->camera_direction),
           static_cast<int>(handle->effect_mode));
  switch (handle->effect_mode) {
    case HUMANBODYSEG_EFFECT_MASK:
      return pexo::InitMaskView(*handle);
    case HUMANBODYSEG_EFFECT_BLUR:
      return pexo::InitPipeline<pexo::SequenceThreadNetwork>(*handle);
    case HUMANBODYSEG_EFFECT_COLOUR:
      return pexo::InitPipeline<pexo::MultiplyThreadNetwork>(*handle);
    default:
      PEXO_LOG("Unsupported EffectMode param!");
      return HUMANBODYSEG_ERR_UNSUPPORTED;
  }
} catch (...) {
  return HUMANBODYSEG_ERR_FAILED;
}
