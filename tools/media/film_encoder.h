// SPDX-License-Identifier: Apache-2.0
// The encoder of a film's pictures.
#ifndef PEXO_TOOLS_MEDIA_FILM_ENCODER_H_
#define PEXO_TOOLS_MEDIA_FILM_ENCODER_H_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "media/av_types.h"
#include "media/frame_converter.h"

namespace pexo::media {

struct EncoderChoice {
  const AVCodec* codec;
  std::optional<double> quality;  // in the encoder's own measure; its default otherwise
  bool has_alpha = false;
};

// The encoder of this name, or of the codec of this name; with an empty name the one for the container: H.264 where
// that is usual, otherwise the container's own. Throws tools::UsageError when there is none or the container cannot
// hold it.
const AVCodec* ChooseEncoder(const AVOutputFormat& container, const std::string& name);

// The one for pictures with transparency. Throws tools::UsageError for other containers than WebM and QuickTime.
const AVCodec* ChooseAlphaEncoder(const AVOutputFormat& container);

class FilmEncoder {
 public:
  // Frames are like this first one: yuv420p, or yuva420p for `has_alpha`. Their times are in `time_base`. Throws
  // tools::Failure.
  FilmEncoder(const EncoderChoice& choice, const AVOutputFormat& container, const AVFrame& first, AVRational time_base,
              AVRational frame_rate);

  const AVCodecContext& context() const { return *context_; }

  // Encodes a frame, or what is still inside when it is null. Packets are in the encoder's time base. Throws
  // tools::Failure.
  void Encode(const AVFrame* frame, const std::function<void(AVPacket&)>& take);

 private:
  AvFrame InEncodersFormat(const AVFrame& frame);

  AVRational source_time_base_;
  AvCodecContext context_;
  FrameConverter converter_;
  int64_t last_time_ = AV_NOPTS_VALUE;
  std::map<int64_t, int64_t> durations_;  // by time, of the frames that are inside
};

}  // namespace pexo::media

#endif  // PEXO_TOOLS_MEDIA_FILM_ENCODER_H_
