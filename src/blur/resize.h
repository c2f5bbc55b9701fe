// SPDX-License-Identifier: Apache-2.0
// How the composites resample with the image library.
#ifndef PEXO_BLUR_RESIZE_H_
#define PEXO_BLUR_RESIZE_H_

#include <qmx/qmx_image.h>

#include <cstdint>

#include "blur/image_buffer.h"

namespace pexo {

// A plane, and the luma plane of a frame, as one-plane images.
QmxImage PlaneImage(const ImageBuffer& plane);
QmxImage LumaImage(const QmxImage& frame);

// What stands where a resize has brought nothing: mid-grey for luma and for chroma, and a mask without a person, so
// that the picture shows nothing that it should hide.
inline constexpr uint8_t kBlankPicture = 128;
inline constexpr uint8_t kBlankMask = 0;

// Scales `source` bilinearly to the size of `destination`; both have one plane, or both are frames. What the image
// library answers is not looked at. A plane that it leaves as it was is `blank` all over afterwards.
void Resize(const QmxImage& source, QmxImage& destination, uint8_t blank);

}  // namespace pexo

#endif  // PEXO_BLUR_RESIZE_H_
