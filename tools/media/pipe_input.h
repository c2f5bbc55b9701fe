// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_MEDIA_PIPE_INPUT_H_
#define PEXO_TOOLS_MEDIA_PIPE_INPUT_H_

#include <memory>

#include "media/av_types.h"
#include "media/stop.h"

namespace pexo::media {

// Standard input for FFmpeg. A read that waits ends when a stop is requested.
class PipeInput {
 public:
  explicit PipeInput(const Stop& stop);

  AVIOContext* context() const { return context_.get(); }

 private:
  struct ContextDeleter {
    void operator()(AVIOContext* context) const;
  };

  std::unique_ptr<AVIOContext, ContextDeleter> context_;
};

}  // namespace pexo::media

#endif  // PEXO_TOOLS_MEDIA_PIPE_INPUT_H_
