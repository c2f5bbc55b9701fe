// Owners of FFmpeg's objects.
#ifndef PEXO_TOOLS_PORTRAIT_AV_TYPES_H_
#define PEXO_TOOLS_PORTRAIT_AV_TYPES_H_

#include <memory>
#include <new>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace pexo::portrait {

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

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_AV_TYPES_H_
