// SPDX-License-Identifier: Apache-2.0
// The portrait picture of the background blur: the frame's luma where the mask marks the person, its low-pass
// elsewhere, and low-passed chroma everywhere.
#ifndef PEXO_BLUR_BACKGROUND_BLUR_H_
#define PEXO_BLUR_BACKGROUND_BLUR_H_

#include <qmx/qmx_image.h>

namespace pexo {

// frame: two-plane YUV 4:2:0 (format 17 or 18), even sizes from 2x2 up, any strides. output: same format and size, both
// planes are written; it must not overlap the frame. mask: one 8-bit plane of any size, 0 background to 255 person.
// blur_strength: 1.5 in this library; the box radius that follows from it is at least 0.
//
// luma = (blurred * (255 - mask) + frame * mask) >> 8. Stateless: calls on different frames may run at once. When
// memory runs out it returns early and the output keeps what it held. What the image library answers is not looked at;
// where it does nothing, a mask counts as background and a picture as grey.
//
// Frames whose width and height are multiples of 8 take the aligned variant, all others the unaligned one.
void ComposeBackgroundBlur(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float blur_strength);

// The same, and tells whether it was done; false when memory ran out, and then nothing has been written.
[[nodiscard]] bool TryComposeBackgroundBlur(const QmxImage& frame, QmxImage& output, const QmxImage& mask,
                                            float blur_strength);

// The two variants answer as TryComposeBackgroundBlur does.

// Resamples with the image library, at a half of the frame's size, or a quarter when a side has 1920 pixels. The mask's
// rows must be tightly packed. The two bottom corners, 4x4 pixels each, keep the frame's own pixels.
[[nodiscard]] bool ComposeBackgroundBlurAligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask,
                                                float blur_strength);

// Resamples with the filters of plane_filters.h, at a quarter of the frame's size, and smooths the mask first. Where
// the doubled quarter does not reach (sizes that do not divide by 4) the luma repeats the nearest blurred pixel and the
// chroma keeps the frame's; a frame below 4 pixels in either direction has no quarter and stays sharp.
[[nodiscard]] bool ComposeBackgroundBlurUnaligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask,
                                                  float blur_strength);

}  // namespace pexo

#endif  // PEXO_BLUR_BACKGROUND_BLUR_H_
