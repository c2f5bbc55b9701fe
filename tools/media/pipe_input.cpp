// SPDX-License-Identifier: Apache-2.0
#include "media/pipe_input.h"

#include <cerrno>
#include <new>

#include <poll.h>
#include <unistd.h>

namespace pexo::media {
namespace {

constexpr int kBufferSize = 1 << 16;  // what is larger goes straight to where it is wanted

int Read(void* opaque, uint8_t* bytes, int size) {
  const auto& stop = *static_cast<const Stop*>(opaque);
  for (;;) {
    pollfd waits[] = {{STDIN_FILENO, POLLIN, 0}, {stop.descriptor, POLLIN, 0}};
    if (::poll(waits, 2, -1) < 0 && errno != EINTR) return AVERROR(errno);
    if (stop.is_requested) return AVERROR_EXIT;
    if (waits[0].revents == 0) continue;
    const ssize_t count = ::read(STDIN_FILENO, bytes, static_cast<std::size_t>(size));
    if (count > 0) return static_cast<int>(count);
    if (count == 0) return AVERROR_EOF;
    if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
  }
}

}  // namespace

void PipeInput::ContextDeleter::operator()(AVIOContext* context) const {
  av_freep(&context->buffer);  // FFmpeg may have replaced the first one
  avio_context_free(&context);
}

PipeInput::PipeInput(const Stop& stop) {
  auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
  void* opaque = const_cast<Stop*>(&stop);  // only read
  context_.reset(avio_alloc_context(buffer, kBufferSize, 0, opaque, Read, nullptr, nullptr));
  if (context_ == nullptr) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  context_->seekable = 0;
}

}  // namespace pexo::media
