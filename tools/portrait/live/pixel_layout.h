// SPDX-License-Identifier: Apache-2.0
// Finished pictures in the pixel formats that programs ask cameras for.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_PIXEL_LAYOUT_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_PIXEL_LAYOUT_H_

#include <cstddef>
#include <cstdint>

#include "media/av_types.h"
#include "media/film_frames.h"

namespace pexo::live {

enum class PixelLayout { kNv12, kI420, kYuy2 };

// Bytes of a row of the first plane, and of a whole picture. Planes follow one another without gaps; the chroma planes
// of kI420 have rows of half as many bytes.
int RowBytes(PixelLayout layout, media::Size size);
size_t PictureBytes(PixelLayout layout, media::Size size);

// Of a planar 4:2:0 frame.
void WritePixels(const AVFrame& frame, PixelLayout layout, uint8_t* out);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_PIXEL_LAYOUT_H_
