// SPDX-License-Identifier: Apache-2.0
// The library's own effects on films.
#ifndef PEXO_TOOLS_PORTRAIT_FILM_EFFECT_H_
#define PEXO_TOOLS_PORTRAIT_FILM_EFFECT_H_

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "camera_frame.h"
#include "film_renderer.h"
#include "renderer.h"
#include "stage_times.h"

namespace pexo::portrait {

// Hands the film's own bytes to the library, whatever range and matrix they are in. The frames that it answers late are
// drained at the end.
class FilmEffect : public FilmRenderer {
 public:
  // Loads the model. `times` receives that of every call. Throws tools::Failure.
  FilmEffect(const EffectSettings& settings, const std::string& model_path, StageTimes& times);

  void Render(media::AvFrame frame, const Take& take) override;

 private:
  void Process(const Take& take);

  Renderer renderer_;
  int column_multiple_;
  StageTimes& times_;
  std::optional<CameraFrame> camera_frame_;
  std::deque<media::AvFrame> inside_;  // the frames that the library has not given back
  media::AvFrame last_;                // padded as the library wants it
  int64_t calls_ = 0;
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_FILM_EFFECT_H_
