// SPDX-License-Identifier: Apache-2.0
// Pictures in the one form in which they are rendered and shown: planar 4:2:0, limited range, of the output's size.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_FIT_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_FIT_H_

#include <cstdint>

#include "media/film_frames.h"
#include "media/frame_converter.h"

namespace pexo::live {

// Without colour.
media::AvFrame PlainFrame(media::Size size, uint8_t luma);

// A picture of any kind, as large as it fits in, between black bars. Where nothing is to be done it shares the pixels.
// Throws tools::Failure for pixels of an unknown kind.
media::AvFrame FitFrame(const AVFrame& frame, media::Size size, media::FrameConverter& converter);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_FIT_H_
