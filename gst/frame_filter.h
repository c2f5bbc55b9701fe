// SPDX-License-Identifier: Apache-2.0
// What the element does to a frame, without GStreamer's machinery around it.
#ifndef PEXO_GST_FRAME_FILTER_H_
#define PEXO_GST_FRAME_FILTER_H_

#include <pexo/compositor/compositor.h>

#include <gst/video/video.h>

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "portrait/background_choice.h"

namespace pexo::gst {

// What a user sets; see the element's properties.
struct Settings {
  std::string background = "blur";
  double calm = 1;
  std::string model = "auto";
};

// The settings cannot be met: no frame could ever be rendered. what() is one line.
class SettingsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One thread at a time.
class FrameFilter {
 public:
  // `warn` is called when a new background cannot be loaded and the old one stays.
  explicit FrameFilter(std::function<void(const char* reason)> warn) : warn_(std::move(warn)) {}

  // Renders the person of `input` before the background into `output`, a frame of the same size and format. `seconds`
  // is the frame's place in time, which moving backgrounds follow; none: they stand still. The model is loaded with the
  // first frame, and again when a setting or the frames' shape ask for another. Throws SettingsError; any other
  // exception is this frame's failure alone. After an exception nothing is certain of the output's pixels.
  void Render(const Settings& settings, const GstVideoFrame& input, const GstVideoFrame& output,
              std::optional<double> seconds);

  // The next frame has nothing to do with those before.
  void Reset();

 private:
  void Apply(const Settings& settings, int width, int height);
  void ApplyBackground(const std::string& word);

  std::function<void(const char*)> warn_;
  std::optional<Settings> applied_;
  int width_ = 0, height_ = 0;  // what the model was chosen for
  std::string model_path_;
  std::unique_ptr<portrait::MovingBackground> background_;
  std::optional<double> first_seconds_;  // when the background began
  std::unique_ptr<compositor::Compositor> compositor_;
};

}  // namespace pexo::gst

#endif  // PEXO_GST_FRAME_FILTER_H_
