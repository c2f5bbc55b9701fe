// SPDX-License-Identifier: Apache-2.0
#include <spa/param/buffers.h>
#include <spa/param/param.h>
#include <spa/pod/builder.h>

#include <string>
#include <utility>

#include "common/failure.h"
#include "live/output.h"
#include "live/pipewire_connection.h"

namespace pexo::live {
namespace {

class PipeWireOutput : public Output {
 public:
  PipeWireOutput(const std::string& name, const OutputSettings& settings, Watched watched)
      : settings_(settings), watched_(std::move(watched)) {
    ParameterSpace space;
    const spa_pod* format = FormatParameter(space, settings.size, settings.frames_per_second);
    pw_properties* properties =
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_ROLE, "Camera",
                          PW_KEY_NODE_NAME, name.c_str(), PW_KEY_NODE_DESCRIPTION, name.c_str(), nullptr);
    connection_.Connect(name.c_str(), properties, kEvents, this, PW_DIRECTION_OUTPUT,
                        static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS), &format, 1);
  }

  // The buffer is filled before the graph is asked to run, so that the picture goes out in this run, not in the next.
  void Show(const Picture& picture) override {
    Check();
    const PipeWireConnection::Lock lock(connection_);
    if (!is_streaming_ || !layout_) return;
    pw_buffer* buffer = pw_stream_dequeue_buffer(connection_.stream());
    if (buffer == nullptr) return;  // every one is still with a reader
    Fill(picture, *buffer->buffer);
    pw_stream_queue_buffer(connection_.stream(), buffer);
    pw_stream_trigger_process(connection_.stream());
  }

  void Check() override {
    const PipeWireConnection::Lock lock(connection_);
    if (!reason_.empty()) throw tools::Failure("PipeWire: " + reason_);
  }

 private:
  static const pw_stream_events kEvents;

  void Fill(const Picture& picture, spa_buffer& buffer) {
    spa_data& data = buffer.datas[0];
    const size_t bytes = PictureBytes(*layout_, settings_.size);
    const bool has_room = data.data != nullptr && data.maxsize >= bytes;
    if (has_room) WritePixels(picture.frame(), *layout_, static_cast<uint8_t*>(data.data));
    data.chunk->offset = 0;
    data.chunk->size = has_room ? static_cast<uint32_t>(bytes) : 0;
    data.chunk->stride = RowBytes(*layout_, settings_.size);
    data.chunk->flags = 0;
    if (auto* header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)))) {
      const auto since = picture.captured().time_since_epoch();
      header->pts = since.count() == 0 ? Clock::now().time_since_epoch().count() : since.count();
      header->flags = 0;
      header->seq = sequence_++;
      header->dts_offset = 0;
    }
  }

  void OnState(pw_stream_state state, const char* error) {
    const bool is_gone = state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED;
    if (is_gone) reason_ = error == nullptr ? "the daemon is gone" : error;
    const bool is_streaming = state == PW_STREAM_STATE_STREAMING;
    if (std::exchange(is_streaming_, is_streaming) != is_streaming || is_gone) watched_(is_streaming);
  }

  void OnParameter(uint32_t id, const spa_pod* parameter) {
    if (id != SPA_PARAM_Format || parameter == nullptr) return;
    const auto format = ParseFormat(*parameter);
    if (!format) return;
    layout_ = format->layout;
    uint8_t bytes[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(bytes, sizeof bytes);
    const spa_pod* parameters[] = {
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1), SPA_PARAM_BUFFERS_size,
            SPA_POD_Int(static_cast<int>(PictureBytes(*layout_, settings_.size))), SPA_PARAM_BUFFERS_stride,
            SPA_POD_Int(RowBytes(*layout_, settings_.size)))),
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
            SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(sizeof(spa_meta_header))))),
    };
    pw_stream_update_params(connection_.stream(), parameters, 2);
  }

  const OutputSettings settings_;
  const Watched watched_;
  // In the connection's thread, or under its lock:
  std::optional<PixelLayout> layout_;
  bool is_streaming_ = false;
  std::string reason_;  // why it is gone
  uint64_t sequence_ = 0;
  PipeWireConnection connection_;  // last: its thread ends first
};

const pw_stream_events PipeWireOutput::kEvents = [] {
  pw_stream_events events{};
  events.version = PW_VERSION_STREAM_EVENTS;
  events.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char* error) {
    static_cast<PipeWireOutput*>(self)->OnState(state, error);
  };
  events.param_changed = [](void* self, uint32_t id, const spa_pod* parameter) {
    static_cast<PipeWireOutput*>(self)->OnParameter(id, parameter);
  };
  return events;
}();

}  // namespace

std::unique_ptr<Output> OpenPipeWireOutput(const std::string& name, const OutputSettings& settings,
                                           Output::Watched watched) {
  return std::make_unique<PipeWireOutput>(name, settings, std::move(watched));
}

}  // namespace pexo::live
