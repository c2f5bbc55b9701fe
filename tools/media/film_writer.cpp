// SPDX-License-Identifier: Apache-2.0
#include "media/film_writer.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string_view>

extern "C" {
#include <libavutil/opt.h>
}

#include "common/failure.h"
#include "media/containers.h"

namespace pexo::media {
namespace {

namespace fs = std::filesystem;

// What is taken over: not a second film, whose background would stay as it was, nor data that no container knows.
bool IsWanted(const AVStream& stream) {
  switch (stream.codecpar->codec_type) {
    case AVMEDIA_TYPE_AUDIO:
    case AVMEDIA_TYPE_SUBTITLE:
    case AVMEDIA_TYPE_ATTACHMENT:
      return true;
    default:
      return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
  }
}

// Matroska's reader takes the delay of Opus off the times, and its writer does not put it on.
int64_t CodecDelay(const AVOutputFormat& container, const AVStream& stream) {
  const std::string_view name = container.name;
  const bool is_taken_off = stream.codecpar->codec_id == AV_CODEC_ID_OPUS && (name == "matroska" || name == "webm");
  return is_taken_off ? av_rescale_q(stream.codecpar->initial_padding, {1, 48000}, stream.time_base) : 0;
}

std::string NameOf(const AVStream& stream) {
  const char* kind = av_get_media_type_string(stream.codecpar->codec_type);
  return std::string(kind == nullptr ? "unknown" : kind) + " stream " + std::to_string(stream.index) + " (" +
         avcodec_get_name(stream.codecpar->codec_id) + ")";
}

void CopyTags(AVDictionary*& to, const AVDictionary* from) {
  av_dict_copy(&to, from, 0);
  // These tell of the container and the encoder that were.
  for (const char* key : {"major_brand", "minor_version", "compatible_brands", "encoder"}) {
    av_dict_set(&to, key, nullptr, 0);
  }
}

}  // namespace

void FilmWriter::MuxerDeleter::operator()(AVFormatContext* context) const {
  if (context->pb != nullptr) avio_closep(&context->pb);
  avformat_free_context(context);
}

FilmWriter::FilmWriter(const FilmTarget& target)
    : path_(target.path == "-" ? "standard output" : target.path), target_(target) {
  const AVOutputFormat& format = FindContainer(target.path, target.format);
  choice_ = {target.has_alpha ? ChooseAlphaEncoder(format) : ChooseEncoder(format, target.codec), target.quality,
             target.has_alpha};
  std::string url = target.path == "-" ? "pipe:1" : "file:" + target.path;
  std::error_code ignored;
  const fs::file_status status = fs::status(target.path, ignored);
  const bool is_device = fs::is_character_file(status) || fs::is_fifo(status);
  if (target.path != "-" && !is_device) url = "file:" + file_.emplace(target.path).name();
  AVFormatContext* muxer = nullptr;
  if (avformat_alloc_output_context2(&muxer, &format, nullptr, url.c_str()) < 0) throw std::bad_alloc();
  muxer_.reset(muxer);
  const int result = avio_open(&muxer->pb, url.c_str(), AVIO_FLAG_WRITE);
  if (result < 0) Fail(result);
  video_ = avformat_new_stream(muxer, nullptr);
  if (video_ == nullptr) throw std::bad_alloc();
}

bool FilmWriter::KeepsRotation() const {
  return IsQuickTime(*muxer_->oformat);
}

void FilmWriter::CopyRest(const FilmReader& source, const std::function<void(const std::string&)>& tell) {
  const AVFormatContext& container = source.container();
  for (unsigned i = 0; i < container.nb_streams; ++i) {
    const AVStream& stream = *container.streams[i];
    Copy& copy = copies_.emplace_back();
    if (stream.index == source.video().index || !IsWanted(stream)) continue;
    if (CanHold(*muxer_->oformat, stream.codecpar->codec_type, stream.codecpar->codec_id)) {
      copy = {AddCopy(stream).index, stream.time_base, CodecDelay(*muxer_->oformat, stream)};
    } else {
      tell(NameOf(stream) + " is left out: the format " + muxer_->oformat->name + " cannot hold it");
    }
  }
  CopyTags(muxer_->metadata, container.metadata);
  CopyTags(video_->metadata, source.video().metadata);
  video_->disposition = source.video().disposition;
  CopyChapters(source);
}

AVStream& FilmWriter::AddCopy(const AVStream& source) {
  AVStream* copy = avformat_new_stream(muxer_.get(), nullptr);
  if (copy == nullptr || avcodec_parameters_copy(copy->codecpar, source.codecpar) < 0) throw std::bad_alloc();
  // A tag of another container's is chosen anew.
  const AVCodecTag* const* tags = muxer_->oformat->codec_tag;
  if (tags == nullptr || av_codec_get_id(tags, source.codecpar->codec_tag) != source.codecpar->codec_id) {
    copy->codecpar->codec_tag = 0;
  }
  copy->time_base = source.time_base;
  copy->disposition = source.disposition;
  copy->avg_frame_rate = source.avg_frame_rate;
  av_dict_copy(&copy->metadata, source.metadata, 0);
  return *copy;
}

void FilmWriter::CopyChapters(const FilmReader& source) {
  const AVFormatContext& container = source.container();
  const bool is_part = source.start() != std::numeric_limits<int64_t>::min();
  auto** chapters = static_cast<AVChapter**>(av_calloc(container.nb_chapters + 1, sizeof(AVChapter*)));
  if (chapters == nullptr) throw std::bad_alloc();
  muxer_->chapters = chapters;
  for (unsigned i = 0; i < container.nb_chapters; ++i) {
    const AVChapter& chapter = *container.chapters[i];
    const int64_t first = is_part ? av_rescale_q(source.start(), AV_TIME_BASE_Q, chapter.time_base) : 0;
    const int64_t last = source.end() == std::numeric_limits<int64_t>::max()
                             ? source.end()
                             : av_rescale_q(source.end(), AV_TIME_BASE_Q, chapter.time_base);
    if (chapter.end <= first || chapter.start >= last) continue;
    auto* copy = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
    if (copy == nullptr) throw std::bad_alloc();
    chapters[muxer_->nb_chapters++] = copy;
    copy->id = chapter.id;
    copy->time_base = chapter.time_base;
    copy->start = std::max(chapter.start - first, int64_t{0});
    copy->end = std::min(chapter.end, last) - first;
    av_dict_copy(&copy->metadata, chapter.metadata, 0);
  }
}

void FilmWriter::Start(const AVFrame& first, const FilmReader& source) {
  encoder_ =
      std::make_unique<FilmEncoder>(choice_, *muxer_->oformat, first, source.video().time_base, source.frame_rate());
  const AVCodecContext& context = encoder_->context();
  if (avcodec_parameters_from_context(video_->codecpar, &context) < 0) throw std::bad_alloc();
  video_->time_base = context.time_base;
  video_->avg_frame_rate = source.frame_rate();
  video_->sample_aspect_ratio = context.sample_aspect_ratio;
  std::size_t size = 0;
  const uint8_t* matrix = av_stream_get_side_data(&source.video(), AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (matrix != nullptr && KeepsRotation()) {
    uint8_t* copy = av_stream_new_side_data(video_, AV_PKT_DATA_DISPLAYMATRIX, size);
    if (copy == nullptr) throw std::bad_alloc();
    std::memcpy(copy, matrix, size);
  }
  // Without a way back, the index goes before every part.
  if (IsQuickTime(*muxer_->oformat) && (muxer_->pb->seekable & AVIO_SEEKABLE_NORMAL) == 0) {
    av_opt_set(muxer_->priv_data, "movflags", "frag_keyframe+empty_moov+default_base_moof", 0);
  }
  // Sound may begin before the picture; by default some containers move everything instead.
  if (CanStoreNegativeTimes(*muxer_->oformat)) muxer_->avoid_negative_ts = 0;
  const int result = avformat_write_header(muxer_.get(), nullptr);
  if (result < 0) Fail(result);
}

void FilmWriter::Write(const AVFrame& frame) {
  encoder_->Encode(&frame, [this](AVPacket& packet) { Mux(packet, encoder_->context().time_base, video_->index); });
}

void FilmWriter::Write(AVPacket& packet) {
  const auto stream = static_cast<std::size_t>(packet.stream_index);
  if (stream >= copies_.size() || copies_[stream].stream < 0) return;
  const Copy& copy = copies_[stream];
  if (packet.pts != AV_NOPTS_VALUE) packet.pts += copy.shift;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts += copy.shift;
  Mux(packet, copy.time_base, copy.stream);
}

void FilmWriter::Mux(AVPacket& packet, AVRational time_base, int stream) {
  packet.stream_index = stream;
  packet.pos = -1;
  av_packet_rescale_ts(&packet, time_base, muxer_->streams[stream]->time_base);
  const int result = av_interleaved_write_frame(muxer_.get(), &packet);
  if (result < 0) Fail(result);
  if (muxer_->pb->error < 0) Fail(muxer_->pb->error);
}

void FilmWriter::Finish() {
  encoder_->Encode(nullptr, [this](AVPacket& packet) { Mux(packet, encoder_->context().time_base, video_->index); });
  int result = av_write_trailer(muxer_.get());
  if (result >= 0 && muxer_->pb->error < 0) result = muxer_->pb->error;
  const int closed = avio_closep(&muxer_->pb);
  if (result < 0 || closed < 0) Fail(result < 0 ? result : closed);
  if (file_) file_->PutInPlace();
}

void FilmWriter::Fail(int error) const {
  throw tools::Failure(path_ + ": cannot be written: " + AvReason(error));
}

}  // namespace pexo::media
