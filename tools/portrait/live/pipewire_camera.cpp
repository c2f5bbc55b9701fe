// SPDX-License-Identifier: Apache-2.0
#include <spa/param/buffers.h>
#include <spa/param/param.h>
#include <spa/pod/builder.h>

#include <cstring>
#include <mutex>

#include "common/failure.h"
#include "live/camera.h"
#include "live/exchange.h"
#include "live/pipewire_connection.h"

namespace pexo::live {
namespace {

AVPixelFormat PixelsOf(PixelLayout layout) {
  switch (layout) {
    case PixelLayout::kNv12:
      return AV_PIX_FMT_NV12;
    case PixelLayout::kI420:
      return AV_PIX_FMT_YUV420P;
    default:
      return AV_PIX_FMT_YUYV422;
  }
}

class PipeWireCamera : public Camera {
 public:
  PipeWireCamera(const std::string& node, const std::string& name, int frames_per_second) : node_(node) {
    ParameterSpace space;
    const spa_pod* format = FormatParameter(space, {}, frames_per_second);
    pw_properties* properties =
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Camera",
                          PW_KEY_NODE_NAME, name.c_str(), PW_KEY_TARGET_OBJECT, node.c_str(), nullptr);
    constexpr int kFlags = PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_DONT_RECONNECT | PW_STREAM_FLAG_MAP_BUFFERS;
    connection_.Connect(name.c_str(), properties, kEvents, this, PW_DIRECTION_INPUT,
                        static_cast<pw_stream_flags>(kFlags), &format, 1);
  }

  std::optional<CameraFrame> Read(std::chrono::milliseconds patience) override {
    std::unique_lock lock(mutex_);
    arrived_.wait_for(lock, patience, [this] { return frame_ || !reason_.empty(); });
    if (!reason_.empty()) throw tools::Failure("pipewire:" + node_ + ": " + reason_);
    return std::exchange(frame_, std::nullopt);
  }

 private:
  static const pw_stream_events kEvents;

  void OnState(pw_stream_state before, pw_stream_state state, const char* error) {
    const bool is_gone = state == PW_STREAM_STATE_UNCONNECTED && before != PW_STREAM_STATE_CONNECTING;
    if (state != PW_STREAM_STATE_ERROR && !is_gone) return;
    const std::lock_guard lock(mutex_);
    reason_ = error == nullptr ? "the camera is gone" : error;
    arrived_.notify_all();
  }

  void OnParameter(uint32_t id, const spa_pod* parameter) {
    if (id != SPA_PARAM_Format) return;
    format_ = parameter == nullptr ? std::nullopt : ParseFormat(*parameter);
    if (!format_) return;
    uint8_t bytes[512];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(bytes, sizeof bytes);
    const auto* buffers = static_cast<const spa_pod*>(
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
                                   SPA_POD_CHOICE_RANGE_Int(4, 2, 16), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1)));
    pw_stream_update_params(connection_.stream(), &buffers, 1);
  }

  void OnProcess() {
    pw_buffer* newest = nullptr;
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(connection_.stream())) {
      if (newest != nullptr) pw_stream_queue_buffer(connection_.stream(), newest);
      newest = buffer;
    }
    if (newest == nullptr) return;
    media::AvFrame frame;
    try {
      frame = Copy(*newest->buffer);
    } catch (const std::bad_alloc&) {
    }
    pw_stream_queue_buffer(connection_.stream(), newest);
    if (frame == nullptr) return;
    const std::lock_guard lock(mutex_);
    frame_ = CameraFrame{std::move(frame), Clock::now()};
    arrived_.notify_all();
  }

  // None for a buffer that is empty or shorter than its format says.
  media::AvFrame Copy(const spa_buffer& buffer) const {
    if (!format_ || buffer.n_datas != 1 || buffer.datas[0].data == nullptr) return nullptr;
    const spa_data& data = buffer.datas[0];
    const spa_chunk chunk = *data.chunk;  // which the camera's program may change at any time
    const auto [layout, size] = *format_;
    const int least = RowBytes(layout, size);
    const int stride = chunk.stride == 0 ? least : chunk.stride;
    const size_t rows = static_cast<size_t>(size.height);
    const size_t bytes =
        static_cast<size_t>(std::max(stride, 0)) * (layout == PixelLayout::kYuy2 ? rows : rows * 3 / 2);
    if (stride < least || chunk.size < bytes || data.maxsize < bytes || chunk.offset > data.maxsize - bytes) {
      return nullptr;
    }
    const auto* from = static_cast<const uint8_t*>(data.data) + chunk.offset;
    media::AvFrame frame = media::NewFrame(size.width, size.height, PixelsOf(layout));
    for (int plane = 0; plane < 3 && frame->data[plane] != nullptr; ++plane) {
      const bool is_half = layout == PixelLayout::kI420 && plane > 0;
      const int from_stride = is_half ? stride / 2 : stride, row_bytes = is_half ? least / 2 : least;
      for (int y = 0; y < (plane == 0 ? size.height : size.height / 2); ++y, from += from_stride) {
        std::memcpy(frame->data[plane] + static_cast<ptrdiff_t>(y) * frame->linesize[plane], from,
                    static_cast<size_t>(row_bytes));
      }
    }
    return frame;
  }

  std::string node_;
  std::optional<VideoFormat> format_;  // the connection's thread's
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::optional<CameraFrame> frame_;  // the newest
  std::string reason_;                // why no more come
  PipeWireConnection connection_;     // last: its thread ends first
};

const pw_stream_events PipeWireCamera::kEvents = [] {
  pw_stream_events events{};
  events.version = PW_VERSION_STREAM_EVENTS;
  events.state_changed = [](void* self, pw_stream_state before, pw_stream_state state, const char* error) {
    static_cast<PipeWireCamera*>(self)->OnState(before, state, error);
  };
  events.param_changed = [](void* self, uint32_t id, const spa_pod* parameter) {
    static_cast<PipeWireCamera*>(self)->OnParameter(id, parameter);
  };
  events.process = [](void* self) { static_cast<PipeWireCamera*>(self)->OnProcess(); };
  return events;
}();

}  // namespace

std::unique_ptr<Camera> OpenPipeWireCamera(const std::string& node, const std::string& name, int frames_per_second) {
  return std::make_unique<PipeWireCamera>(node, name, frames_per_second);
}

}  // namespace pexo::live
