// SPDX-License-Identifier: Apache-2.0
#include "media/film_reader.h"

#include <algorithm>
#include <string_view>
#include <thread>
#include <utility>

#include "common/failure.h"

namespace pexo::media {
namespace {

constexpr unsigned kMaxDecoderThreads = 8;  // each holds frames
// Where times may jump there is no index: seeking lands somewhere near, and the picture begins at the next key frame.
constexpr int64_t kSeekMargin = 10 * AV_TIME_BASE;
constexpr int64_t kEndTolerance = AV_TIME_BASE / 2;

bool HasJumpingTimes(const AVFormatContext& container) {
  return (container.iformat->flags & AVFMT_TS_DISCONT) != 0;
}

int64_t OrZero(int64_t time) {
  return time == AV_NOPTS_VALUE ? 0 : time;
}

bool IsSoundOrPicture(const AVStream& stream) {
  const AVMediaType type = stream.codecpar->codec_type;
  return (type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO) &&
         (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
}

}  // namespace

FilmReader::FilmReader(const FilmSource& source, const Stop& stop)
    : path_(source.path == "-" ? "standard input" : source.path), stop_(stop) {
  OpenContainer(source);
  OpenDecoder();
  ChoosePart(source);
}

void FilmReader::OpenContainer(const FilmSource& source) {
  const AVInputFormat* format = nullptr;
  if (!source.format.empty()) {
    format = av_find_input_format(source.format.c_str());
    if (format == nullptr) throw tools::Failure(path_ + ": no format '" + source.format + "' can be read");
  }
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) throw std::bad_alloc();
  const bool is_pipe = source.path == "-";
  if (is_pipe) context->pb = pipe_.emplace(stop_).context();
  const std::string url = is_pipe ? "" : "file:" + source.path;
  int result = avformat_open_input(&context, url.c_str(), format, nullptr);  // which releases it on failure
  if (result >= 0) {
    container_.reset(context);
    result = avformat_find_stream_info(context, nullptr);
  }
  if (result < 0 && stop_.is_requested) throw tools::Interrupted("interrupted before the first frame");
  if (result == AVERROR_INVALIDDATA) throw tools::Failure(path_ + ": not a picture or a film, or a damaged one");
  if (result < 0) throw tools::Failure(path_ + ": cannot be read: " + AvReason(result));
}

void FilmReader::OpenDecoder() {
  const int index = av_find_best_stream(container_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  video_ = index < 0 ? nullptr : container_->streams[index];
  if (video_ == nullptr || !IsSoundOrPicture(*video_)) {
    const bool has_sound = av_find_best_stream(container_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0) >= 0;
    throw tools::Failure(path_ + (has_sound ? ": holds sound only, no moving picture" : ": holds no moving picture"));
  }
  const AVCodec* codec = avcodec_find_decoder(video_->codecpar->codec_id);
  if (codec == nullptr) {
    throw tools::Failure(path_ + ": pictures of the kind '" + avcodec_get_name(video_->codecpar->codec_id) +
                         "' cannot be decoded");
  }
  decoder_ = Own(avcodec_alloc_context3(codec));
  int result = avcodec_parameters_to_context(decoder_.get(), video_->codecpar);
  decoder_->pkt_timebase = video_->time_base;
  decoder_->thread_count = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, kMaxDecoderThreads));
  if (result >= 0) result = avcodec_open2(decoder_.get(), codec, nullptr);
  if (result < 0) throw tools::Failure(path_ + ": the pictures cannot be decoded: " + AvReason(result));
  const AVRational rate = av_guess_frame_rate(container_.get(), video_, nullptr);
  if (rate.num > 0 && rate.den > 0) frame_rate_ = rate;
  past_end_.assign(container_->nb_streams, false);
}

void FilmReader::ChoosePart(const FilmSource& source) {
  const int64_t first = video_->start_time == AV_NOPTS_VALUE
                            ? OrZero(container_->start_time)
                            : av_rescale_q(video_->start_time, video_->time_base, AV_TIME_BASE_Q);
  has_end_ = source.to.has_value();
  if (has_end_) end_ = first + *source.to;
  if (!source.from) {
    // Broadcasts start at any time of day.
    if (HasJumpingTimes(*container_)) shift_ = OrZero(container_->start_time);
    start_ = std::numeric_limits<int64_t>::min();
    return;
  }
  start_ = shift_ = first + *source.from;
  const int64_t target = start_ - (HasJumpingTimes(*container_) ? kSeekMargin : 0);
  if (target <= first) return;
  // What cannot seek is read from its beginning.
  const int64_t time = av_rescale_q(target, AV_TIME_BASE_Q, video_->time_base);
  avformat_seek_file(container_.get(), video_->index, std::numeric_limits<int64_t>::min(), time, time, 0);
}

int64_t FilmReader::EstimateFrameCount() const {
  const int64_t whole = OrZero(container_->duration);
  const int64_t first = start_ == std::numeric_limits<int64_t>::min() ? 0 : start_ - OrZero(container_->start_time);
  const int64_t last = has_end_ ? std::min(whole, end_ - OrZero(container_->start_time)) : whole;
  if (first == 0 && last == whole && video_->nb_frames > 0) return video_->nb_frames;
  return std::max<int64_t>(av_rescale_q(last - first, AV_TIME_BASE_Q, av_inv_q(frame_rate_)), 0);
}

bool FilmReader::Read(FilmItem& item) {
  for (item = {};;) {
    AvFrame frame = Own(av_frame_alloc());
    if (ReceiveFrame(*frame)) {
      if (!PlaceInTime(*frame)) continue;
      item.frame = std::move(frame);
      return true;
    }
    if (is_at_end_) return false;
    AvPacket packet = ReadPacket();
    if (packet == nullptr || packet->stream_index == video_->index) {
      SendToDecoder(packet.get());
    } else if (PlaceInTime(*packet)) {
      item.packet = std::move(packet);
      return true;
    }
  }
}

// Null at the end.
AvPacket FilmReader::ReadPacket() {
  AvPacket packet = Own(av_packet_alloc());
  for (;;) {
    bool is_past_end = has_end_;
    for (unsigned i = 0; i < container_->nb_streams; ++i) {
      if (IsSoundOrPicture(*container_->streams[i])) is_past_end = is_past_end && past_end_[i];
    }
    if (is_past_end || stop_.is_requested) return nullptr;
    const int result = av_read_frame(container_.get(), packet.get());
    if (result == AVERROR(EAGAIN)) continue;
    if (result == AVERROR_EOF) NoteEndOfFile();
    if (result < 0) {
      if (result != AVERROR_EOF && result != AVERROR_EXIT) NoteDamage("it cannot be read to its end");
      return nullptr;
    }
    if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
      NoteDamage("it is cut short or damaged");
      av_packet_unref(packet.get());
      continue;
    }
    past_end_.resize(container_->nb_streams);  // streams may turn up late
    const AVStream& stream = *container_->streams[packet->stream_index];
    if (packet->pts != AV_NOPTS_VALUE) {
      const int64_t end = av_rescale_q(packet->pts + packet->duration, stream.time_base, AV_TIME_BASE_Q);
      seen_until_ = std::max(seen_until_, end);
    }
    if (container_->pb != nullptr) after_packet_ = avio_tell(container_->pb);
    return packet;
  }
}

void FilmReader::SendToDecoder(const AVPacket* packet) {
  if (packet != nullptr && past_end_[static_cast<std::size_t>(video_->index)]) return;
  if (packet == nullptr && std::exchange(flushing_, true)) {
    is_at_end_ = true;
    return;
  }
  const int result = avcodec_send_packet(decoder_.get(), packet);
  if (result < 0 && result != AVERROR_EOF) NoteDamage("some of its pictures are damaged");
}

bool FilmReader::ReceiveFrame(AVFrame& frame) {
  const int result = avcodec_receive_frame(decoder_.get(), &frame);
  if (result == AVERROR_EOF) is_at_end_ = true;
  if (result < 0 && result != AVERROR_EOF && result != AVERROR(EAGAIN)) {
    NoteDamage("some of its pictures are damaged");
  }
  if (result < 0) return false;
  if (frame.decode_error_flags != 0) NoteDamage("some of its pictures are damaged");
  return true;
}

// False outside the part that is read.
bool FilmReader::PlaceInTime(AVFrame& frame) {
  int64_t time = frame.best_effort_timestamp;
  if (time == AV_NOPTS_VALUE) time = last_time_ == AV_NOPTS_VALUE ? 0 : last_time_ + last_duration_;
  if (last_time_ != AV_NOPTS_VALUE) time = std::max(time, last_time_ + 1);
  last_time_ = time;
  last_duration_ = frame.pkt_duration > 0
                       ? frame.pkt_duration
                       : std::max<int64_t>(av_rescale_q(1, av_inv_q(frame_rate_), video_->time_base), 1);
  if (av_compare_ts(time, video_->time_base, start_, AV_TIME_BASE_Q) < 0) return false;
  if (has_end_ && av_compare_ts(time, video_->time_base, end_, AV_TIME_BASE_Q) >= 0) {
    past_end_[static_cast<std::size_t>(video_->index)] = true;
    return false;
  }
  frame.pts = time - av_rescale_q(shift_, AV_TIME_BASE_Q, video_->time_base);
  frame.pkt_duration = last_duration_;
  frame.time_base = video_->time_base;
  frame.sample_aspect_ratio = av_guess_sample_aspect_ratio(container_.get(), video_, &frame);
  frame.pict_type = AV_PICTURE_TYPE_NONE;  // the next encoder decides by itself
  return true;
}

bool FilmReader::PlaceInTime(AVPacket& packet) {
  const AVStream& stream = *container_->streams[packet.stream_index];
  if ((stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) return true;
  const int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  if (time == AV_NOPTS_VALUE) return start_ == std::numeric_limits<int64_t>::min();
  if (av_compare_ts(time, stream.time_base, start_, AV_TIME_BASE_Q) < 0) return false;
  if (has_end_ && av_compare_ts(time, stream.time_base, end_, AV_TIME_BASE_Q) >= 0) {
    past_end_[static_cast<std::size_t>(packet.stream_index)] = true;
    return false;
  }
  const int64_t shift = av_rescale_q(shift_, AV_TIME_BASE_Q, stream.time_base);
  if (packet.pts != AV_NOPTS_VALUE) packet.pts -= shift;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts -= shift;
  return true;
}

// Many containers end anywhere without complaint.
void FilmReader::NoteEndOfFile() {
  const bool knows_duration =
      container_->duration > 0 && container_->duration_estimation_method == AVFMT_DURATION_FROM_STREAM;
  const bool ends_early =
      knows_duration && seen_until_ + kEndTolerance < OrZero(container_->start_time) + container_->duration;
  const bool has_part_of_frame =
      std::string_view(container_->iformat->name) == "yuv4mpegpipe" && avio_tell(container_->pb) != after_packet_;
  if (ends_early || has_part_of_frame) NoteDamage("it is cut short");
}

void FilmReader::NoteDamage(const std::string& what) {
  if (damage_.empty()) damage_ = what;
}

}  // namespace pexo::media
