// SPDX-License-Identifier: Apache-2.0
#include "live/pipewire_connection.h"

#include <spa/param/video/format-utils.h>

#include <string>

#include "common/failure.h"

namespace pexo::live {

PipeWireConnection::PipeWireConnection() {
  static const bool is_ready = (pw_init(nullptr, nullptr), true);
  static_cast<void>(is_ready);
  loop_ = pw_thread_loop_new("portrait", nullptr);
  if (loop_ == nullptr) throw tools::Failure("PipeWire: no thread");
  context_ = pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0);
  if (context_ != nullptr) core_ = pw_context_connect(context_, nullptr, 0);
  if (core_ == nullptr || pw_thread_loop_start(loop_) < 0) {
    if (context_ != nullptr) pw_context_destroy(context_);
    pw_thread_loop_destroy(loop_);
    throw tools::Failure("PipeWire: no connection to its daemon");
  }
}

PipeWireConnection::~PipeWireConnection() {
  pw_thread_loop_stop(loop_);
  if (stream_ != nullptr) pw_stream_destroy(stream_);
  pw_core_disconnect(core_);
  pw_context_destroy(context_);
  pw_thread_loop_destroy(loop_);
}

void PipeWireConnection::Connect(const char* name, pw_properties* properties, const pw_stream_events& events,
                                 void* data, pw_direction direction, pw_stream_flags flags, const spa_pod** formats,
                                 uint32_t count) {
  const Lock lock(*this);
  stream_ = pw_stream_new(core_, name, properties);
  if (stream_ == nullptr) throw tools::Failure("PipeWire: no stream");
  pw_stream_add_listener(stream_, &listener_, &events, data);
  if (pw_stream_connect(stream_, direction, PW_ID_ANY, flags, formats, count) < 0) {
    throw tools::Failure("PipeWire: the stream cannot be connected");
  }
}

const spa_pod* FormatParameter(ParameterSpace& space, std::optional<media::Size> size, int frames_per_second) {
  spa_pod_builder builder = SPA_POD_BUILDER_INIT(space.bytes, sizeof space.bytes);
  spa_pod_frame frame;
  spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
  spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
                      SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
                      SPA_POD_CHOICE_ENUM_Id(4, SPA_VIDEO_FORMAT_NV12, SPA_VIDEO_FORMAT_NV12, SPA_VIDEO_FORMAT_I420,
                                             SPA_VIDEO_FORMAT_YUY2),
                      0);
  const spa_fraction rate = SPA_FRACTION(static_cast<uint32_t>(frames_per_second), 1);
  if (size) {
    const spa_rectangle only = SPA_RECTANGLE(static_cast<uint32_t>(size->width), static_cast<uint32_t>(size->height));
    spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&only), SPA_FORMAT_VIDEO_framerate,
                        SPA_POD_Fraction(&rate), 0);
  } else {
    const spa_rectangle least = SPA_RECTANGLE(2, 2), usual = SPA_RECTANGLE(1280, 720), most = SPA_RECTANGLE(8192, 8192);
    const spa_fraction any = SPA_FRACTION(0, 1), fastest = SPA_FRACTION(1000, 1);
    spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&usual, &least, &most),
                        SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&rate, &any, &fastest), 0);
  }
  return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

std::optional<VideoFormat> ParseFormat(const spa_pod& parameter) {
  spa_video_info_raw info{};
  if (spa_format_video_raw_parse(&parameter, &info) < 0) return {};
  const media::Size size{static_cast<int>(info.size.width), static_cast<int>(info.size.height)};
  if (size.width < 2 || size.height < 2 || size.width % 2 != 0 || size.height % 2 != 0) return {};
  switch (info.format) {
    case SPA_VIDEO_FORMAT_NV12:
      return VideoFormat{PixelLayout::kNv12, size};
    case SPA_VIDEO_FORMAT_I420:
      return VideoFormat{PixelLayout::kI420, size};
    case SPA_VIDEO_FORMAT_YUY2:
      return VideoFormat{PixelLayout::kYuy2, size};
    default:
      return {};
  }
}

}  // namespace pexo::live
