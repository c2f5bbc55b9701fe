// SPDX-License-Identifier: Apache-2.0
// Owners of FFmpeg's objects, and its failures in words.
#ifndef PEXO_TOOLS_MEDIA_AV_TYPES_H_
#define PEXO_TOOLS_MEDIA_AV_TYPES_H_

#include <memory>
#include <new>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace pexo::media {

struct AvDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};

template <typename T>
using AvOwner = std::unique_ptr<T, AvDeleter>;

using AvFrame = AvOwner<AVFrame>;
using AvPacket = AvOwner<AVPacket>;
using AvCodecContext = AvOwner<AVCodecContext>;
using AvScaler = AvOwner<SwsContext>;

// Takes what one of FFmpeg's allocating functions returned.
template <typename T>
AvOwner<T> Own(T* object) {
  if (object == nullptr) throw std::bad_alloc();
  return AvOwner<T>(object);
}

// What an error code of FFmpeg's means.
inline std::string AvReason(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof text);
  return text;
}

}  // namespace pexo::media

#endif  // PEXO_TOOLS_MEDIA_AV_TYPES_H_
