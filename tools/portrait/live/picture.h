// SPDX-License-Identifier: Apache-2.0
// What comes from the camera and what may leave the program: two types, and no way from one to the other but rendering.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_PICTURE_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_PICTURE_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>

#include "media/av_types.h"

namespace pexo::live {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

// As the camera sees the room. It never leaves the program.
struct CameraFrame {
  media::AvFrame picture;
  Time captured;
};

// A finished picture: planar 4:2:0 of the output's size, limited range. Copies share the pixels, which never change.
class Picture {
 public:
  // From a card, which shows nothing of the room.
  static Picture OfCard(media::AvFrame card) { return {std::move(card), Time()}; }

  const AVFrame& frame() const { return *frame_; }
  Time captured() const { return captured_; }  // of cards: no time

 private:
  friend class Renderer;

  Picture(media::AvFrame frame, Time captured) : frame_(std::move(frame)), captured_(captured) {}

  std::shared_ptr<const AVFrame> frame_;
  Time captured_;
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_PICTURE_H_
