// SPDX-License-Identifier: Apache-2.0
#include <thread>

#include "common/failure.h"
#include "live/camera.h"
#include "media/film_reader.h"

namespace pexo::live {
namespace {

// A film as a camera would see it: a frame when its time has come.
class FilmCamera : public Camera {
 public:
  explicit FilmCamera(const std::string& path) : path_(path), due_(Clock::now()) {
    Begin();
    period_ =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / av_q2d(reader_->frame_rate())));
  }

  std::optional<CameraFrame> Read(std::chrono::milliseconds patience) override {
    if (next_ == nullptr) next_ = Decode();
    const Time limit = Clock::now() + patience;
    if (due_ > limit) {
      std::this_thread::sleep_until(limit);
      return {};
    }
    std::this_thread::sleep_until(due_);
    const Time now = Clock::now();
    due_ += period_;
    if (due_ < now) due_ = now;  // a machine that is too slow shows every frame late, not all of them at once
    return CameraFrame{std::move(next_), now};
  }

 private:
  void Begin() { reader_.emplace(media::FilmSource{path_, {}, {}, {}}, stop_); }

  media::AvFrame Decode() {
    for (int round = 0; round < 2; ++round) {
      for (media::FilmItem item; reader_->Read(item);) {
        if (item.frame != nullptr) return std::move(item.frame);
      }
      Begin();
    }
    throw tools::Failure(path_ + ": no frame could be read");
  }

  const std::string path_;
  media::Stop stop_;  // never requested: decoding a frame takes little time
  std::optional<media::FilmReader> reader_;
  media::AvFrame next_;
  Clock::duration period_{};
  Time due_;
};

}  // namespace

std::unique_ptr<Camera> OpenFilmCamera(const std::string& path) {
  return std::make_unique<FilmCamera>(path);
}

}  // namespace pexo::live
