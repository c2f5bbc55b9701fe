// SPDX-License-Identifier: Apache-2.0
#include "media/containers.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "common/failure.h"

namespace pexo::media {
namespace {

bool IsOneOf(const AVOutputFormat& container, std::initializer_list<std::string_view> names) {
  return std::ranges::find(names, std::string_view(container.name)) != names.end();
}

}  // namespace

const AVOutputFormat& FindContainer(const std::string& path, const std::string& name) {
  const AVOutputFormat* container =
      name.empty() ? av_guess_format(nullptr, path.c_str(), nullptr) : av_guess_format(name.c_str(), nullptr, nullptr);
  const bool writes_films = container != nullptr && container->video_codec != AV_CODEC_ID_NONE &&
                            (container->flags & AVFMT_NOFILE) == 0;  // which those for single pictures have
  if (writes_films) return *container;
  if (!name.empty()) throw tools::UsageError("--format takes the name of a container for films, not '" + name + "'");
  if (path == "-") throw tools::UsageError("standard output needs --format");
  throw tools::UsageError(path +
                          ": the name of a film must end in .mp4, .mkv, .mov, .webm or another container's ending");
}

bool CanHold(const AVOutputFormat& container, AVMediaType type, AVCodecID codec) {
  if (type == AVMEDIA_TYPE_ATTACHMENT) return IsOneOf(container, {"matroska"});
  const AVCodecID own = type == AVMEDIA_TYPE_AUDIO      ? container.audio_codec
                        : type == AVMEDIA_TYPE_SUBTITLE ? container.subtitle_codec
                                                        : container.video_codec;
  const int answer = avformat_query_codec(&container, codec, FF_COMPLIANCE_NORMAL);
  return answer > 0 || (answer < 0 && (codec == own || IsOneOf(container, {"mpegts"})));
}

bool IsQuickTime(const AVOutputFormat& container) {
  return IsOneOf(container, {"mov", "mp4", "ipod", "3gp", "3g2", "psp", "ismv", "f4v"});
}

bool CanStoreNegativeTimes(const AVOutputFormat& container) {
  // The last three do, though their flags do not say so; AVI leaves out what comes before 0.
  return (container.flags & AVFMT_TS_NEGATIVE) != 0 || IsOneOf(container, {"matroska", "webm", "avi"});
}

bool KeepsUnevenTimes(const AVOutputFormat& container) {
  return (container.flags & AVFMT_VARIABLE_FPS) != 0 || IsQuickTime(container);
}

bool IsUsualForH264(const AVOutputFormat& container) {
  return IsQuickTime(container) || IsOneOf(container, {"matroska", "flv", "mpegts", "nut"});
}

}  // namespace pexo::media
