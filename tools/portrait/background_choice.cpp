// SPDX-License-Identifier: Apache-2.0
#include "background_choice.h"

#include <charconv>
#include <filesystem>
#include <system_error>
#include <type_traits>
#include <utility>

extern "C" {
#include <libavutil/parseutils.h>
}

#include "common/failure.h"
#include "compositor_frame.h"
#include "frame_conversion.h"
#include "picture_reader.h"

namespace pexo::portrait {
namespace {

constexpr double kRounding = 1e-4;  // of times in seconds, which are sums, or cut to whole nanoseconds
constexpr double kMinStrength = 1;
constexpr double kMaxStrength = 100;

double ParseStrength(const std::string& word) {
  double strength = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), strength);
  const bool is_number = error == std::errc() && end == word.data() + word.size();
  if (!is_number || !(strength >= kMinStrength && strength <= kMaxStrength)) {
    throw tools::UsageError("blur takes a strength from 1 to 100, not '" + word + "'");
  }
  return strength;
}

}  // namespace

BackgroundChoice ParseBackground(const std::string& word) {
  if (word == "blur") return compositor::Blur{};
  if (word.starts_with("blur:")) return compositor::Blur{ParseStrength(word.substr(5))};
  if (word == "grey") return compositor::Grey{};
  if (word == "none") return compositor::Transparent{};
  if (word.empty()) throw tools::UsageError("takes blur, grey, none, a colour or a file, not an empty word");
  uint8_t rgba[4] = {};
  // The parser prints what it does not know.
  const bool is_path = word.find_first_of("./") != std::string::npos;
  if (!is_path && av_parse_color(rgba, word.c_str(), -1, nullptr) >= 0)
    return compositor::Colour{rgba[0], rgba[1], rgba[2]};
  std::error_code ignored;
  if (word.starts_with("#") || !std::filesystem::exists(word, ignored)) {
    throw tools::UsageError("takes blur, grey, none, a colour or a file; '" + word + "' is no colour and no file");
  }
  return BackgroundFile{word};
}

MovingBackground::MovingBackground(const BackgroundChoice& choice, int rotation) {
  const auto* file = std::get_if<BackgroundFile>(&choice);
  if (file == nullptr) {
    std::visit(
        [this](const auto& background) {
          if constexpr (!std::is_same_v<std::decay_t<decltype(background)>, BackgroundFile>) current_ = background;
        },
        choice);
    return;
  }
  const int back = (360 - rotation) % 360;
  if (IsPicture(file->path)) {
    CameraFrame picture = FrameFromPicture(*ReadPicture(file->path), 2);
    Show(media::TurnFrame(*PictureFromFrame(picture, AV_PIX_FMT_YUV420P), back));
    return;
  }
  path_ = file->path;
  OpenFilm();
  const int turn = (media::StoredRotation(film_->video()) + back) % 360;
  frames_ = std::make_unique<media::FilmFrames>(std::nullopt, turn, [](const std::string&) {});
  ReadNext();
  Show(std::move(next_));
  ReadNext();
}

const compositor::Background* MovingBackground::At(double seconds) {
  if (film_ == nullptr) return nullptr;
  media::AvFrame newest;
  while (next_time_ <= seconds + kRounding) {
    newest = std::move(next_);
    ReadNext();
  }
  if (newest == nullptr) return nullptr;
  Show(std::move(newest));
  return &current_;
}

void MovingBackground::OpenFilm() {
  film_ = std::make_unique<media::FilmReader>(media::FilmSource{path_, {}, {}, {}}, never_);
  first_time_.reset();
}

// Goes on with the first frame after the last one.
void MovingBackground::ReadNext() {
  for (int round = 0; round < 2; ++round) {
    for (media::FilmItem item; film_->Read(item);) {
      if (item.frame == nullptr) continue;
      if (!first_time_) first_time_ = item.frame->pts;
      const double unit = av_q2d(item.frame->time_base);
      next_time_ = round_start_ + static_cast<double>(item.frame->pts - *first_time_) * unit;
      next_end_ = next_time_ + static_cast<double>(item.frame->pkt_duration) * unit;
      next_ = frames_->Prepare(std::move(item.frame));
      return;
    }
    round_start_ = next_end_;
    OpenFilm();
  }
  throw tools::Failure(path_ + ": no frame could be read");
}

void MovingBackground::Show(media::AvFrame frame) {
  shown_ = media::PadFrame(*frame, 2);
  current_ = compositor::Picture{AsConst(ViewOf(*shown_))};
}

}  // namespace pexo::portrait
