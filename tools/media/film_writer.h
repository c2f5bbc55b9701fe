// SPDX-License-Identifier: Apache-2.0
// A film in the making: rendered pictures, and everything else of its source as it was.
#ifndef PEXO_TOOLS_MEDIA_FILM_WRITER_H_
#define PEXO_TOOLS_MEDIA_FILM_WRITER_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/file.h"
#include "media/av_types.h"
#include "media/film_encoder.h"
#include "media/film_reader.h"

namespace pexo::media {

struct FilmTarget {
  std::string path;    // "-": standard output
  std::string format;  // the container's name; empty: by the path's ending
  std::string codec;   // the encoder's or codec's name; empty: the usual one
  std::optional<double> quality;
  bool has_alpha = false;
};

class FilmWriter {
 public:
  // Makes the file, beside its final name. Throws tools::UsageError for a format or codec that is not known,
  // tools::Failure for a file that cannot be written.
  explicit FilmWriter(const FilmTarget& target);
  FilmWriter(const FilmWriter&) = delete;
  FilmWriter& operator=(const FilmWriter&) = delete;

  const std::string& path() const { return path_; }

  // Whether the container keeps the rotation that players turn the pictures by.
  bool KeepsRotation() const;

  // Takes over sound, subtitles, attachments, chapters and what the film tells about itself. `tell` receives what does
  // not fit the container. Before the first frame.
  void CopyRest(const FilmReader& source, const std::function<void(const std::string&)>& tell);

  // Opens the encoder for frames like this one, whose times are in the source's time base, and starts the file. Throws
  // tools::Failure.
  void Start(const AVFrame& first, const FilmReader& source);
  bool has_started() const { return encoder_ != nullptr; }

  // Throw tools::Failure.
  void Write(const AVFrame& frame);
  void Write(AVPacket& packet);  // of the source; those that are not copied are passed over

  // Ends the film and puts it in place.
  void Finish();

 private:
  struct MuxerDeleter {
    void operator()(AVFormatContext* context) const;
  };

  AVStream& AddCopy(const AVStream& source);
  void CopyChapters(const FilmReader& source);
  void Mux(AVPacket& packet, AVRational time_base, int stream);
  [[noreturn]] void Fail(int error) const;

  std::string path_;
  FilmTarget target_;
  EncoderChoice choice_{};
  std::optional<tools::ReplacementFile> file_;
  std::unique_ptr<AVFormatContext, MuxerDeleter> muxer_;
  std::unique_ptr<FilmEncoder> encoder_;
  AVStream* video_ = nullptr;
  // By the source's streams.
  struct Copy {
    int stream = -1;  // of this film; -1: not copied
    AVRational time_base{};
    int64_t shift = 0;  // added to every timestamp
  };
  std::vector<Copy> copies_;
};

}  // namespace pexo::media

#endif  // PEXO_TOOLS_MEDIA_FILM_WRITER_H_
