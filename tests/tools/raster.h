// Pictures in the tests' own form, encoded and decoded with FFmpeg.
#ifndef PEXO_TESTS_TOOLS_RASTER_H_
#define PEXO_TESTS_TOOLS_RASTER_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavutil/pixfmt.h>
}

namespace pexo::test {

struct Colour {
  int r, g, b;
  int a = 255;
  bool operator==(const Colour&) const = default;
};

// Luma of full-range BT.601.
double Luma(const Colour& colour);

struct Raster {
  int width = 0;
  int height = 0;
  std::vector<Colour> pixels;

  const Colour& at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
};

Raster MakeRaster(int width, int height, const std::function<Colour(int x, int y)>& colour);

// Clockwise by a quarter, and top to bottom.
Raster TurnRight(const Raster& raster);
Raster TurnLeft(const Raster& raster);
Raster FlipUpsideDown(const Raster& raster);

// A file's bytes. Takes the pixel formats RGB24, RGBA, GRAY8, YA8, PAL8, RGB48BE, RGBA64BE and GRAY16BE, and any that
// swscale makes from RGBA. Grey formats get the luma; PAL8 gets the red channel as an index into a palette in which
// entry i is PaletteEntry(i).
std::string Encode(const Raster& raster, AVCodecID codec, AVPixelFormat format);
Colour PaletteEntry(int index);

// Throws when the bytes are no whole picture.
Raster Decode(const std::string& file);

// Intersection over union of what is at least 128 in red.
double IntersectionOverUnion(const Raster& a, const Raster& b);

}  // namespace pexo::test

#endif  // PEXO_TESTS_TOOLS_RASTER_H_
