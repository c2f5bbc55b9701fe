// SPDX-License-Identifier: Apache-2.0
#include "blur/background_blur.h"

namespace pexo {

void ComposeBackgroundBlur(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float blur_strength) {
  static_cast<void>(TryComposeBackgroundBlur(frame, output, mask, blur_strength));
}

bool TryComposeBackgroundBlur(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float blur_strength) {
  const bool aligned = frame.width % 8 == 0 && frame.height % 8 == 0;
  return aligned ? ComposeBackgroundBlurAligned(frame, output, mask, blur_strength)
                 : ComposeBackgroundBlurUnaligned(frame, output, mask, blur_strength);
}

}  // namespace pexo
