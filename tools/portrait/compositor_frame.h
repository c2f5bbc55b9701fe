// SPDX-License-Identifier: Apache-2.0
// FFmpeg's frames as the compositor takes them, and what it says of them.
#ifndef PEXO_TOOLS_PORTRAIT_COMPOSITOR_FRAME_H_
#define PEXO_TOOLS_PORTRAIT_COMPOSITOR_FRAME_H_

#include <pexo/compositor/frame.h>

#include "media/film_frames.h"
#include "media/frame_converter.h"

namespace pexo::portrait {

// Of compositor::Rendered::person_fraction: less is a stray patch rather than somebody.
inline constexpr double kMinPerson = 0.02;

// Of a planar 4:2:0 frame of even size; alpha does not count.
inline compositor::Frame ViewOf(AVFrame& frame) {
  compositor::Frame view;
  view.width = frame.width;
  view.height = frame.height;
  view.range = media::LevelsOf(frame) == media::Levels::kFull ? compositor::Range::kFull : compositor::Range::kLimited;
  switch (media::MatrixOf(frame)) {
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
    case AVCOL_SPC_FCC:
      view.matrix = compositor::Matrix::kBt601;
      break;
    default:
      view.matrix = compositor::Matrix::kBt709;  // nearest to all others
  }
  for (int i = 0; i < 3; ++i) {
    view.plane[i] = frame.data[i];
    view.stride[i] = frame.linesize[i];
  }
  return view;
}

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_COMPOSITOR_FRAME_H_
