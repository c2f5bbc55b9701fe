// SPDX-License-Identifier: Apache-2.0
// How the composites resample with the image library.
#ifndef PEXO_BLUR_RESIZE_H_
#define PEXO_BLUR_RESIZE_H_

#include <qmx/qmx_image.h>

#include "blur/image_buffer.h"

namespace pexo {

// A plane, and the luma plane of a frame, as one-plane images.
QmxImage PlaneImage(const ImageBuffer& plane);
QmxImage LumaImage(const QmxImage& frame);

// Scales `source` bilinearly to the size of `destination`; both have one plane, or both are frames. The image library's
// answer does not stop a composite: where it fails, each pixel takes the nearest one of the source instead. The picture
// is then coarser, but what it should hide stays hidden, and no byte of it comes from memory that nobody wrote.
void Resize(const QmxImage& source, QmxImage& destination);

}  // namespace pexo

#endif  // PEXO_BLUR_RESIZE_H_
