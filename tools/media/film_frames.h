// SPDX-License-Identifier: Apache-2.0
// The frames of a film in the one form in which they are rendered.
#ifndef PEXO_TOOLS_MEDIA_FILM_FRAMES_H_
#define PEXO_TOOLS_MEDIA_FILM_FRAMES_H_

#include <functional>
#include <optional>
#include <string>

#include "media/av_types.h"
#include "media/frame_converter.h"

namespace pexo::media {

struct Size {
  int width;
  int height;
};

// The stated colour matrix; for untagged video it is chosen by frame size, as players do.
AVColorSpace MatrixOf(const AVFrame& frame);

// The quarter turns clockwise, in degrees, that show the stream's pictures upright; mirroring does not count.
int StoredRotation(const AVStream& video);

// A planar 4:2:0 frame whose width is a multiple of `column_multiple`, itself even, and whose height is even: the frame
// in its upper left, the last column and row repeated in the rest. Where nothing is to be added it shares the frame's
// pixels.
AvFrame PadFrame(const AVFrame& frame, int column_multiple);

// A planar 4:2:0 frame turned clockwise by quarter turns, in degrees; by none it shares the frame's pixels.
AvFrame TurnFrame(const AVFrame& frame, int degrees);

// Makes every frame planar 8-bit 4:2:0 of one size. The bytes of frames that are so already stay as they are; the
// others keep range and matrix, and RGB becomes limited range.
class FilmFrames {
 public:
  // `size`: before turning; without it that of the first frame. `turn`: quarter turns clockwise, in degrees. `tell`
  // receives what the user should know, once.
  FilmFrames(std::optional<Size> size, int turn, std::function<void(const std::string&)> tell);

  // Throws tools::Failure for frames of high dynamic range.
  AvFrame Prepare(AvFrame frame);

 private:
  std::optional<Size> size_;
  int turn_;
  std::function<void(const std::string&)> tell_;
  FrameConverter converter_;
  bool has_told_depth_ = false;
};

}  // namespace pexo::media

#endif  // PEXO_TOOLS_MEDIA_FILM_FRAMES_H_
