// SPDX-License-Identifier: Apache-2.0
// A film as its frames, in the order in which they are shown, and the packets of everything else in it.
#ifndef PEXO_TOOLS_MEDIA_FILM_READER_H_
#define PEXO_TOOLS_MEDIA_FILM_READER_H_

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/av_types.h"
#include "media/pipe_input.h"
#include "media/stop.h"

namespace pexo::media {

struct FilmSource {
  std::string path;    // "-": standard input
  std::string format;  // the container's name; empty: told from the bytes
  // The part to read, in microseconds from the first frame of the whole film.
  std::optional<int64_t> from;
  std::optional<int64_t> to;
};

// One of the two: a decoded frame, or a packet of a stream that is only to be copied. Times are in the time base of the
// stream, which frames carry; with FilmSource::from they count from there.
struct FilmItem {
  AvFrame frame;
  AvPacket packet;
};

class FilmReader {
 public:
  // Opens the film and its decoder. Once a stop is requested the film ends. Throws tools::Failure.
  FilmReader(const FilmSource& source, const Stop& stop);
  FilmReader(const FilmReader&) = delete;
  FilmReader& operator=(const FilmReader&) = delete;

  const std::string& path() const { return path_; }
  const AVFormatContext& container() const { return *container_; }
  const AVStream& video() const { return *video_; }
  AVRational frame_rate() const { return frame_rate_; }
  // How many frames there will be, about; 0 if nothing tells.
  int64_t EstimateFrameCount() const;
  // The start and end of the part that is read, in microseconds of the file's own times.
  int64_t start() const { return start_; }
  int64_t end() const { return end_; }

  // False at the end. A damaged film ends where nothing more can be read. Throws tools::Failure.
  bool Read(FilmItem& item);

  // What was wrong with the film up to now, as the end of a sentence; empty if nothing was.
  const std::string& damage() const { return damage_; }

 private:
  struct ContainerDeleter {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  };

  void OpenContainer(const FilmSource& source);
  void OpenDecoder();
  void ChoosePart(const FilmSource& source);
  AvPacket ReadPacket();
  void SendToDecoder(const AVPacket* packet);
  bool ReceiveFrame(AVFrame& frame);
  bool PlaceInTime(AVFrame& frame);
  bool PlaceInTime(AVPacket& packet);
  void NoteEndOfFile();
  void NoteDamage(const std::string& what);

  std::string path_;
  const Stop& stop_;
  std::optional<PipeInput> pipe_;
  std::unique_ptr<AVFormatContext, ContainerDeleter> container_;
  AvCodecContext decoder_;
  AVStream* video_ = nullptr;
  AVRational frame_rate_{25, 1};
  int64_t start_ = 0;
  int64_t shift_ = 0;  // subtracted from every timestamp
  int64_t end_ = std::numeric_limits<int64_t>::max();
  bool has_end_ = false;
  std::vector<bool> past_end_;  // by stream
  int64_t last_time_ = AV_NOPTS_VALUE;
  int64_t last_duration_ = 0;
  int64_t seen_until_ = 0;    // the latest end of a packet, in microseconds
  int64_t after_packet_ = 0;  // where in the file the last packet ended
  bool flushing_ = false;
  bool is_at_end_ = false;
  std::string damage_;
};

}  // namespace pexo::media

#endif  // PEXO_TOOLS_MEDIA_FILM_READER_H_
