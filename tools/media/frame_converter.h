// SPDX-License-Identifier: Apache-2.0
// Frames between pixel formats and sizes, and which way their levels are meant.
#ifndef PEXO_TOOLS_MEDIA_FRAME_CONVERTER_H_
#define PEXO_TOOLS_MEDIA_FRAME_CONVERTER_H_

#include "media/av_types.h"

namespace pexo::media {

// Full range: luma 0 to 255; else 16 to 235.
enum class Levels { kFull, kLimited };

bool IsRgb(const AVFrame& frame);
bool HasAlpha(const AVFrame& frame);
int BitsOf(const AVFrame& frame);  // of the deepest component

// Frames that say nothing of their range are limited, unless their pixel format is RGB or a full-range one.
Levels LevelsOf(const AVFrame& frame);

// A new frame with room after every row, which FFmpeg's vector code needs.
AvFrame NewFrame(int width, int height, AVPixelFormat pixels);

// A plane of units (pixels, or pairs of chroma samples), its stride in bytes.
struct PlaneView {
  uint8_t* data;
  int stride;
  int columns;
  int rows;
};

// Copies a plane into the upper left of one that is no smaller, and repeats its last column and row in the rest.
void CopyAndPad(const PlaneView& from, const PlaneView& to, int unit_bytes);

struct FrameFormat {
  int width;
  int height;
  AVPixelFormat pixels;
  Levels levels;
  AVColorSpace matrix;
};

// Keeps what it needs for frames that follow one another in the same formats.
class FrameConverter {
 public:
  // `matrix`: that of a YUV frame which states none. The result has the frame's properties. Throws tools::Failure for
  // pixels of an unknown kind.
  AvFrame Convert(const AVFrame& from, AVColorSpace matrix, const FrameFormat& to);

 private:
  struct Setting {
    int width, height, format;
    Levels levels;
    AVColorSpace matrix;
    bool operator==(const Setting&) const = default;
  };

  void Prepare(const Setting& from, const Setting& to);

  AvScaler scaler_;
  Setting from_{};
  Setting to_{};
};

}  // namespace pexo::media

#endif  // PEXO_TOOLS_MEDIA_FRAME_CONVERTER_H_
