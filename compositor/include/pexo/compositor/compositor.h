// SPDX-License-Identifier: Apache-2.0
// Finished pictures from the library's mask view: the person as filmed, before a background of the caller's choice.
//
//   pexo::compositor::Compositor compositor({.model = {"models/MoviePortraitSmall.dlc"}, .background = Blur{}});
//   while (NextFrame(frame)) compositor.Process(AsConst(frame), frame);
//
// It uses the nine functions as any application does. Person pixels (mask 255) come out byte for byte as they went in.
// The same frames give the same bytes, whatever the timing, whether or not a second thread is used.
#ifndef PEXO_COMPOSITOR_COMPOSITOR_H_
#define PEXO_COMPOSITOR_COMPOSITOR_H_

#include <pexo/compositor/frame.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <variant>

namespace pexo::compositor {

// What goes wrong for reasons outside the program: the model cannot be loaded, the library fails on a frame. what() is
// one line.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A one-channel container ("MoviePortraitSmall" in its path) and the size of its input, even.
struct Model {
  std::string path;
  int width = 256;
  int height = 256;
};

// Whether frames of this upright shape are better served by the landscape network (256x144) than by the square one:
// from 16:10 on. Narrower pictures reach it stretched, and the people in them.
constexpr bool PrefersLandscapeModel(int width, int height) {
  return 5 * width >= 8 * height;
}

// The frame itself, blurred without the person. `strength` is the Gaussian's sigma in thousandths of the upright
// frame's height, 1 to 100.
struct Blur {
  double strength = 20;
};

// The frame itself without colour.
struct Grey {};

struct Colour {
  uint8_t red = 0, green = 0, blue = 0;
};

// An upright picture, scaled to cover the frame. It is copied when it is handed over. For a moving picture hand over
// each of its frames.
struct Picture {
  ConstFrame frame;
};

// Nothing: the frame receives the person's own colour, cleaned of the background that shone through, and the mask is
// its transparency (not premultiplied). The colour goes on for a few pixels beyond the edge, for whatever scales the
// picture; every pixel that is farther than 8 from those whose mask is not 0 is black (R, G, B 0), so nothing of the
// room is left for a player that drops the transparency.
struct Transparent {};

using Background = std::variant<Blur, Grey, Colour, Picture, Transparent>;

enum class Edges {
  kPicture,  // the mask brought to the edges in the picture
  kModel     // as the model draws it, enlarged
};

struct Options {
  Model model;
  Background background = Blur{};
  Edges edges = Edges::kPicture;
  double calm = 1;   // how far masks are drawn towards those before, 0 to 1; 0 for pictures that do not belong together
  int rotation = 0;  // degrees clockwise that make the person stand upright: 0, 90, 180 or 270
  bool has_worker = true;  // masks are computed by a thread beside Finish
};

// Result of one frame. Times are of the thread that did the work.
struct Rendered {
  MaskView mask;               // holds until the next Finish
  double person_fraction = 0;  // the share of the model's own mask that is at least 128
  double segment_seconds = 0;  // shrinking the frame, and the library
  double compose_seconds = 0;  // everything after it
};

// One caller's thread at a time. Memory depends on the frame's size alone.
class Compositor {
 public:
  static constexpr int kMaxBegun = 2;

  // Loads the model. Throws Error, or std::invalid_argument for options out of range.
  explicit Compositor(const Options& options);
  ~Compositor();
  Compositor(Compositor&&) noexcept;
  Compositor& operator=(Compositor&&) noexcept;

  // From the next Finish on. Throws std::invalid_argument.
  void SetBackground(const Background& background);

  // Hands a frame in, whose mask is computed from now on. Its pixels stay as they are until its Finish. Up to
  // kMaxBegun frames may be in: begin frame n + 1 before you finish frame n, and the two overlap. Throws
  // std::invalid_argument for a frame that is not as frame.h says, std::logic_error for one too many.
  void Begin(const ConstFrame& frame);

  // Renders the oldest frame that is in, into a frame of the same size, range and matrix and any layout; it may be the
  // frame itself. Throws Error when the library failed on it: nothing is written then, the frame is out, and the one
  // after it starts afresh. Throws std::invalid_argument (and the frame is still in) or std::logic_error when none is
  // in.
  Rendered Finish(const Frame& output);

  // Begin and Finish of one frame.
  Rendered Process(const ConstFrame& frame, const Frame& output);

  // The next frame has nothing to do with those before. Neither a change of size nor a cut needs it.
  void Reset();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_COMPOSITOR_H_
