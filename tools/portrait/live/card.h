// SPDX-License-Identifier: Apache-2.0
// What is shown instead of the room.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_CARD_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_CARD_H_

#include <string>

#include "live/picture.h"
#include "media/film_frames.h"

namespace pexo::live {

// Plain grey.
Picture PlainCard(media::Size size);

// The picture in a file, fitted into the size between black bars. Throws tools::Failure.
Picture CardOf(const std::string& path, media::Size size);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_CARD_H_
