// SPDX-License-Identifier: Apache-2.0
// pexoHumanBodySegProcess: one frame through the network, and the effect into the frame.
#include <cstddef>
#include <cstring>

#include "api/handle.h"
#include "api/presence.h"
#include "common/library_image.h"
#include "common/log.h"
#include "kernels/kernel_table.h"

namespace pexo {
namespace {

constexpr int32_t kBlurMaskSize = 128;  // pixels a side; the blur scales the mask itself
constexpr int kNeutralChroma = 128;

size_t LumaBytes(const QmxImage& frame) {
  return static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height);
}

void GreyOut(QmxImage& frame) {
  std::memset(frame.plane[1], kNeutralChroma, LumaBytes(frame) / 2);
}

void ShowMask(QmxImage& frame, const QmxImage& mask) {
  std::memcpy(frame.plane[0], mask.plane[0], LumaBytes(frame));
  GreyOut(frame);
}

// Pulls the chroma towards grey where the mask is background. A chroma byte takes the mask of its own column and of the
// upper of the two luma rows that it belongs to.
void BlendChroma(QmxImage& frame, const QmxImage& mask) {
  const auto width = static_cast<size_t>(mask.width);
  for (int32_t row = 0; row < mask.height / 2; ++row) {
    uint8_t* chroma = frame.plane[1] + static_cast<size_t>(row) * width;
    const uint8_t* m = mask.plane[0] + 2 * static_cast<size_t>(row) * width;
    Kernels().blend_towards_grey(chroma, m, mask.width);
  }
}

int32_t RenderColourRetention(int32_t camera_direction, float foreground_fraction, QmxImage& frame,
                              const QmxImage& mask) {
  const bool kept = SharedPresence().Update(IsPersonPresent(camera_direction, foreground_fraction));
  if (!kept && !IsPersonObvious(camera_direction, foreground_fraction)) {
    GreyOut(frame);
    return HUMANBODYSEG_OK;
  }
  if (mask.width % HUMANBODYSEG_COLOUR_WIDTH_MULTIPLE != 0) {
    PEXO_LOG("Please make sure the width of input %d can be divided by 8!", static_cast<int>(mask.width));
    return HUMANBODYSEG_ERR_PARAM;
  }
  BlendChroma(frame, mask);
  return HUMANBODYSEG_OK;
}

int32_t CheckGeometry(const QmxImage& image, const QmxImage* mask) {
  if (mask != nullptr && (mask->height != image.height || mask->width != image.width)) {
    PEXO_LOG("Please make sure the size between input image and mask is identical!");
    return HUMANBODYSEG_ERR_PARAM;
  }
  if (image.height % 2 != 0 || image.width % 2 != 0) {
    PEXO_LOG("Please make sure input size can be divided by 2!");
    return HUMANBODYSEG_ERR_PARAM;
  }
  return HUMANBODYSEG_OK;
}

// The caller's pixels, as what they have to be whatever the descriptor says: NV21 with rows of `width` bytes.
QmxImage PackedNv21(const QmxImage& image) {
  QmxImage frame = image;
  frame.format = kFormatNv21;
  frame.stride[0] = frame.stride[1] = image.width;
  return frame;
}

int32_t ProcessFrame(HumanBodySegHandle& handle, QmxImage frame) {
  const int32_t effect = handle.effect_mode;
  const int32_t camera_direction = handle.camera_direction;
  const bool blur = effect == HUMANBODYSEG_EFFECT_BLUR;
  LibraryImage mask(
      qmxImageCreate(blur ? kBlurMaskSize : frame.width, blur ? kBlurMaskSize : frame.height, kFormatGray8));
  if (mask.plane[0] == nullptr) return HUMANBODYSEG_ERR_FAILED;
  std::memset(mask.plane[0], 0, LumaBytes(mask));
  if (effect != HUMANBODYSEG_EFFECT_COLOUR && effect != HUMANBODYSEG_EFFECT_BLUR &&
      effect != HUMANBODYSEG_EFFECT_MASK) {
    return HUMANBODYSEG_ERR_UNSUPPORTED;
  }
  if (frame.plane[0] == nullptr || frame.plane[1] == nullptr) {
    PEXO_LOG("Image has no pixels!");
    return HUMANBODYSEG_ERR_PARAM;
  }

  // The fraction starts at 0: the first frames of a pipeline bring none.
  FrameParams params{
      .rotation = handle.rotation, .layout_mode = handle.layout_mode, .foreground_fraction = 0, .effect_mode = effect};
  const int32_t status = handle.network->Process(frame, params, mask);
  if (status != kNetworkOk) return status;

  if (effect == HUMANBODYSEG_EFFECT_COLOUR) {
    return RenderColourRetention(camera_direction, params.foreground_fraction, frame, mask);
  }
  if (effect == HUMANBODYSEG_EFFECT_MASK) ShowMask(frame, mask);
  return HUMANBODYSEG_OK;
}

}  // namespace
}  // namespace pexo

int32_t pexoHumanBodySegProcess(HumanBodySegHandle* handle, QmxImage* image, const QmxImage* mask) try {
  const std::lock_guard lock(pexo::api_lock);
  if (handle == nullptr || image == nullptr) return HUMANBODYSEG_ERR_NULL;
  const int32_t geometry = pexo::CheckGeometry(*image, mask);
  if (geometry != HUMANBODYSEG_OK) return geometry;
  if (handle->network == nullptr) return HUMANBODYSEG_ERR_NULL;
  return pexo::ProcessFrame(*handle, pexo::PackedNv21(*image));
} catch (...) {
  return HUMANBODYSEG_ERR_FAILED;
}
