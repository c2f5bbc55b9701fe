// SPDX-License-Identifier: Apache-2.0
#include "media/film_encoder.h"

#include <algorithm>
#include <array>
#include <string_view>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include "common/failure.h"
#include "media/containers.h"
#include "media/film_frames.h"

namespace pexo::media {
namespace {

struct DefaultQuality {
  std::string_view encoder;
  double quality;
};
// Good enough that the loss is not seen. The first four are constant rate factors, the others quantisers.
constexpr std::array<DefaultQuality, 9> kQualities{{{"libx264", 18},
                                                    {"libx265", 20},
                                                    {"libvpx-vp9", 24},
                                                    {"libvpx", 8},
                                                    {"mpeg4", 3},
                                                    {"mpeg2video", 3},
                                                    {"mpeg1video", 3},
                                                    {"mjpeg", 3},
                                                    {"libtheora", 8}}};

// MPEG's older codecs count time in units of a frame, or nearly so.
bool NeedsFrameRate(const AVCodec& codec, const AVOutputFormat& container) {
  return !KeepsUnevenTimes(container) || codec.id == AV_CODEC_ID_MPEG4 || codec.id == AV_CODEC_ID_MPEG2VIDEO ||
         codec.id == AV_CODEC_ID_MPEG1VIDEO;
}

// Of the encoder's pixel formats the one that keeps most.
AVPixelFormat PixelsFor(const AVCodec& codec, const AVFrame& first) {
  const auto format = static_cast<AVPixelFormat>(first.format);
  if (codec.pix_fmts == nullptr) return format;
  const auto takes = [&codec](AVPixelFormat wanted) {
    for (const AVPixelFormat* pixels = codec.pix_fmts; *pixels != AV_PIX_FMT_NONE; ++pixels) {
      if (*pixels == wanted) return true;
    }
    return false;
  };
  // H.264 and H.265 crop by whole chroma samples.
  const bool is_odd = first.width % 2 != 0 || first.height % 2 != 0;
  const bool crops_evenly = codec.id == AV_CODEC_ID_H264 || codec.id == AV_CODEC_ID_HEVC;
  if (is_odd && crops_evenly && takes(AV_PIX_FMT_YUV444P)) return AV_PIX_FMT_YUV444P;
  if (codec.id != AV_CODEC_ID_MJPEG && takes(format)) return format;
  return avcodec_find_best_pix_fmt_of_list(codec.pix_fmts, format, HasAlpha(first) ? 1 : 0, nullptr);
}

void SetQuality(AVCodecContext& context, std::optional<double> wanted) {
  const std::string_view name = context.codec->name;
  if (!wanted) {
    const auto* known = std::find_if(kQualities.begin(), kQualities.end(),
                                     [&](const DefaultQuality& row) { return row.encoder == name; });
    if (known == kQualities.end()) return;
    wanted = known->quality;
  }
  if (av_opt_find(context.priv_data, "crf", nullptr, 0, 0) != nullptr) {
    context.bit_rate = 0;
    if (av_opt_set_double(context.priv_data, "crf", *wanted, 0) < 0) {
      throw tools::UsageError("--quality " + std::to_string(*wanted) + " is out of the encoder's range");
    }
  } else {
    context.flags |= AV_CODEC_FLAG_QSCALE;
    context.global_quality = static_cast<int>(FF_QP2LAMBDA * *wanted);
  }
}

// Fast enough for films of hours; options that an encoder does not know are passed over.
void SetSpeed(AVCodecContext& context) {
  const std::string_view name = context.codec->name;
  context.thread_count = 0;
  if (!name.starts_with("libvpx")) return;
  av_opt_set(context.priv_data, "deadline", "good", 0);
  av_opt_set(context.priv_data, "cpu-used", "5", 0);
  av_opt_set(context.priv_data, "row-mt", "1", 0);
  // Alternate reference frames are not shown, and an alpha plane is encoded beside them frame by frame.
  if (context.pix_fmt == AV_PIX_FMT_YUVA420P) av_opt_set(context.priv_data, "auto-alt-ref", "0", 0);
}

}  // namespace

const AVCodec* ChooseEncoder(const AVOutputFormat& container, const std::string& name) {
  if (name.empty()) {
    if (IsUsualForH264(container)) {
      const AVCodec* h264 = avcodec_find_encoder_by_name("libx264");
      if (h264 != nullptr) return h264;
    }
    const AVCodec* own = avcodec_find_encoder(container.video_codec);
    if (own == nullptr) throw tools::UsageError(std::string("the format ") + container.name + " holds no films");
    return own;
  }
  const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
  if (codec == nullptr) {
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get_by_name(name.c_str());
    if (descriptor != nullptr) codec = avcodec_find_encoder(descriptor->id);
  }
  if (codec == nullptr || codec->type != AVMEDIA_TYPE_VIDEO) {
    throw tools::UsageError("--codec takes the name of an encoder for films, not '" + name + "'");
  }
  if (!CanHold(container, codec->type, codec->id)) {
    throw tools::UsageError("--codec " + name + " does not fit the format " + container.name);
  }
  return codec;
}

const AVCodec* ChooseAlphaEncoder(const AVOutputFormat& container) {
  const std::string_view name = container.name;
  const AVCodec* codec = name == "webm"  ? avcodec_find_encoder_by_name("libvpx-vp9")
                         : name == "mov" ? avcodec_find_encoder_by_name("prores_ks")
                                         : nullptr;
  if (codec == nullptr) throw tools::UsageError("a transparent film is written as .webm (VP9) or .mov (ProRes 4444)");
  return codec;
}

FilmEncoder::FilmEncoder(const EncoderChoice& choice, const AVOutputFormat& container, const AVFrame& first,
                         AVRational time_base, AVRational frame_rate)
    : source_time_base_(time_base), context_(Own(avcodec_alloc_context3(choice.codec))) {
  context_->width = first.width;
  context_->height = first.height;
  context_->pix_fmt = PixelsFor(*choice.codec, first);
  context_->sample_aspect_ratio = first.sample_aspect_ratio;
  context_->color_range = first.color_range;
  context_->colorspace = first.colorspace;
  context_->color_primaries = first.color_primaries;
  context_->color_trc = first.color_trc;
  context_->chroma_sample_location = first.chroma_location;
  context_->framerate = frame_rate;
  context_->time_base = NeedsFrameRate(*choice.codec, container) ? av_inv_q(frame_rate) : time_base;
  if ((av_pix_fmt_desc_get(context_->pix_fmt)->flags & AV_PIX_FMT_FLAG_RGB) != 0) {
    context_->colorspace = AVCOL_SPC_RGB;
    context_->color_range = AVCOL_RANGE_JPEG;
  }
  if (choice.codec->id == AV_CODEC_ID_MJPEG) context_->color_range = AVCOL_RANGE_JPEG;
  if (first.interlaced_frame != 0 && first.height % 4 == 0) {  // a field's rows of chroma are whole only then
    context_->flags |= AV_CODEC_FLAG_INTERLACED_DCT;
    context_->field_order = first.top_field_first != 0 ? AV_FIELD_TT : AV_FIELD_BB;
  }
  if ((container.flags & AVFMT_GLOBALHEADER) != 0) context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (choice.has_alpha && choice.codec->id == AV_CODEC_ID_PRORES) {
    av_opt_set(context_->priv_data, "profile", "4444", 0);
    av_opt_set(context_->priv_data, "alpha_bits", "16", 0);
  }
  // The times at which pictures are decoded run ahead of those that bidirectional prediction waits for.
  if (!CanStoreNegativeTimes(container)) context_->max_b_frames = 0;
  SetSpeed(*context_);
  SetQuality(*context_, choice.quality);
  const int result = avcodec_open2(context_.get(), choice.codec, nullptr);
  if (result < 0) {
    throw tools::Failure(std::string("the encoder ") + choice.codec->name + " does not take pictures of " +
                         std::to_string(first.width) + "x" + std::to_string(first.height) + ": " + AvReason(result));
  }
}

AvFrame FilmEncoder::InEncodersFormat(const AVFrame& frame) {
  if (frame.format == context_->pix_fmt) {
    AvFrame same = Own(av_frame_alloc());
    if (av_frame_ref(same.get(), &frame) < 0) throw std::bad_alloc();
    return same;
  }
  const bool becomes_full = context_->color_range == AVCOL_RANGE_JPEG;
  const Levels levels = becomes_full ? Levels::kFull : LevelsOf(frame);
  const AVColorSpace matrix = MatrixOf(frame);
  return converter_.Convert(frame, matrix, {frame.width, frame.height, context_->pix_fmt, levels, matrix});
}

void FilmEncoder::Encode(const AVFrame* frame, const std::function<void(AVPacket&)>& take) {
  AvFrame encoded;
  if (frame != nullptr) {
    encoded = InEncodersFormat(*frame);
    encoded->pts = av_rescale_q(frame->pts, source_time_base_, context_->time_base);
    encoded->quality = context_->global_quality;
    if (last_time_ != AV_NOPTS_VALUE && encoded->pts <= last_time_) {
      throw tools::Failure("frames at uneven times do not fit this format; .mp4 and .mkv take them");
    }
    last_time_ = encoded->pts;
    durations_[encoded->pts] = av_rescale_q(frame->pkt_duration, source_time_base_, context_->time_base);
  }
  int result = avcodec_send_frame(context_.get(), encoded.get());
  const AvPacket packet = Own(av_packet_alloc());
  while (result >= 0) {
    result = avcodec_receive_packet(context_.get(), packet.get());
    if (result < 0) break;
    const auto inside = durations_.find(packet->pts);
    if (inside != durations_.end()) {
      packet->duration = inside->second;
      durations_.erase(inside);
    }
    take(*packet);
  }
  if (result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_EOF) {
    throw tools::Failure("the pictures cannot be encoded: " + AvReason(result));
  }
}

}  // namespace pexo::media
