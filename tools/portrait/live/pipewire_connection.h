// SPDX-License-Identifier: Apache-2.0
// What both ends of PipeWire need: a connection with a thread, and a stream of video.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_PIPEWIRE_CONNECTION_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_PIPEWIRE_CONNECTION_H_

#include <pipewire/pipewire.h>

#include <memory>
#include <optional>

#include "live/pixel_layout.h"
#include "media/film_frames.h"

namespace pexo::live {

class PipeWireConnection {
 public:
  // The loop's thread, in which the events of a stream arrive. Throws tools::Failure.
  PipeWireConnection();
  ~PipeWireConnection();
  PipeWireConnection(const PipeWireConnection&) = delete;
  PipeWireConnection& operator=(const PipeWireConnection&) = delete;

  // While it lives, no event arrives and the stream may be used.
  class Lock {
   public:
    explicit Lock(PipeWireConnection& connection) : loop_(connection.loop_) { pw_thread_loop_lock(loop_); }
    ~Lock() { pw_thread_loop_unlock(loop_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    pw_thread_loop* loop_;
  };

  // A stream with these properties, which it takes; once. `events` and `data` outlive the connection. Throws
  // tools::Failure.
  void Connect(const char* name, pw_properties* properties, const pw_stream_events& events, void* data,
               pw_direction direction, pw_stream_flags flags, const spa_pod** formats, uint32_t count);
  pw_stream* stream() { return stream_; }
  pw_core* core() { return core_; }

 private:
  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
  pw_stream* stream_ = nullptr;
  spa_hook listener_{};
};

struct VideoFormat {
  PixelLayout layout;
  media::Size size;
};

// Space in which `FormatParameter` and others build their answer.
struct ParameterSpace {
  uint8_t bytes[1024];
};

// The three layouts. With a size: at that size and rate alone; without, at every one.
const spa_pod* FormatParameter(ParameterSpace& space, std::optional<media::Size> size, int frames_per_second);

// None unless it is one of them, at an even size: no camera has another.
std::optional<VideoFormat> ParseFormat(const spa_pod& parameter);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_PIPEWIRE_CONNECTION_H_
