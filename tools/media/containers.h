// SPDX-License-Identifier: Apache-2.0
// What FFmpeg's containers can do.
#ifndef PEXO_TOOLS_MEDIA_CONTAINERS_H_
#define PEXO_TOOLS_MEDIA_CONTAINERS_H_

#include <string>

#include "media/av_types.h"

namespace pexo::media {

// The container of this name, or with an empty one that of the path's ending. Throws tools::UsageError.
const AVOutputFormat& FindContainer(const std::string& path, const std::string& name);

bool CanHold(const AVOutputFormat& container, AVMediaType type, AVCodecID codec);

// QuickTime's family: it keeps the rotation that players turn the pictures by.
bool IsQuickTime(const AVOutputFormat& container);

// Whether sound may begin before time 0, as it does when its codec has a delay.
bool CanStoreNegativeTimes(const AVOutputFormat& container);

// Whether frames may come at any times, not only at those of a frame rate.
bool KeepsUnevenTimes(const AVOutputFormat& container);

bool IsUsualForH264(const AVOutputFormat& container);

}  // namespace pexo::media

#endif  // PEXO_TOOLS_MEDIA_CONTAINERS_H_
