// Pictures of every kind that goes in: their luma comes out again, at their size.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/tools/program.h"
#include "tests/tools/raster.h"

namespace pexo::test {
namespace {

// Smooth and of low saturation, so that greying its chroma leaves every colour in range.
Colour Pattern(int x, int y) {
  return {60 + (x * 5 + y) % 120, 70 + (x + y * 4) % 110, 80 + (x * 2 + y * 3) % 100};
}

Colour TransparentPattern(int x, int y) {
  Colour colour = Pattern(x, y);
  colour.a = (x * 16 + y * 3) % 256;
  return colour;
}

Colour OverWhite(const Colour& c) {
  const auto blend = [&c](int channel) { return (channel * c.a + 255 * (255 - c.a)) / 255; };
  return {blend(c.r), blend(c.g), blend(c.b)};
}

// Runs --effect colour, which keeps luma; -1: the program failed, or the size is another.
double MeanLumaError(const std::string& file, const Raster& expected, const std::string& output = "out.png") {
  Workplace workplace;
  workplace.Write("in", file);
  const Outcome outcome = workplace.Portrait({"--quiet", "--effect", "colour", "in", output});
  EXPECT_EQ(outcome.standard_error, "");
  if (outcome.exit_status != 0) return -1;
  const Raster out = Decode(workplace.Read(output));
  if (out.width != expected.width || out.height != expected.height) return -1;
  double sum = 0;
  for (std::size_t i = 0; i < out.pixels.size(); ++i) {
    sum += std::abs(Luma(out.pixels[i]) - Luma(expected.pixels[i]));
  }
  return sum / static_cast<double>(out.pixels.size());
}

TEST(PortraitPictures, EveryPixelFormatKeepsItsLevels) {
  const Raster plain = MakeRaster(52, 38, Pattern);
  const Raster transparent = MakeRaster(52, 38, TransparentPattern);
  const Raster flattened = MakeRaster(52, 38, [](int x, int y) { return OverWhite(TransparentPattern(x, y)); });
  const Raster flattened_grey = MakeRaster(52, 38, [](int x, int y) {
    Colour grey = TransparentPattern(x, y);
    grey.r = grey.g = grey.b = static_cast<int>(std::lround(Luma(grey)));
    return OverWhite(grey);
  });
  const Raster indexed = MakeRaster(52, 38, [](int x, int y) { return OverWhite(PaletteEntry(Pattern(x, y).r)); });
  const struct {
    const char* name;
    const Raster& picture;
    const Raster& expected;
    AVCodecID codec;
    AVPixelFormat format;
    double bound;
  } cases[] = {
      {"png rgb", plain, plain, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24, 0.7},
      {"png rgb alpha", transparent, flattened, AV_CODEC_ID_PNG, AV_PIX_FMT_RGBA, 0.7},
      {"png grey", plain, plain, AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY8, 0.7},
      {"png grey alpha", transparent, flattened_grey, AV_CODEC_ID_PNG, AV_PIX_FMT_YA8, 0.7},
      {"png palette", plain, indexed, AV_CODEC_ID_PNG, AV_PIX_FMT_PAL8, 0.7},
      {"png rgb 16", plain, plain, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB48BE, 0.7},
      {"png rgb alpha 16", transparent, flattened, AV_CODEC_ID_PNG, AV_PIX_FMT_RGBA64BE, 0.7},
      {"png grey 16", plain, plain, AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY16BE, 0.7},
      {"jpeg 420", plain, plain, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P, 2},
      {"jpeg 422", plain, plain, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ422P, 2},
      {"jpeg 444", plain, plain, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ444P, 2},
      {"webp", plain, plain, AV_CODEC_ID_WEBP, AV_PIX_FMT_YUV420P, 2},
      {"webp alpha", transparent, flattened, AV_CODEC_ID_WEBP, AV_PIX_FMT_YUVA420P, 3},
      {"webp lossless", plain, plain, AV_CODEC_ID_WEBP, AV_PIX_FMT_RGB32, 2},
  };
  for (const auto& c : cases) {
    const double error = MeanLumaError(Encode(c.picture, c.codec, c.format), c.expected);
    EXPECT_GE(error, 0) << c.name;
    EXPECT_LE(error, c.bound) << c.name;
  }
}

TEST(PortraitPictures, EverySizeComesBackWithItsEdges) {
  const int sizes[][2] = {{1, 1}, {2, 1}, {1, 2}, {3, 5}, {2, 2}, {7, 8}, {8, 7}, {15, 4}, {33, 47}, {130, 9}};
  for (const auto& [width, height] : sizes) {
    const Raster picture = MakeRaster(width, height, Pattern);
    for (const auto& [codec, format] : {std::pair{AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24},
                                        {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P},
                                        {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ444P}}) {
      const std::string file = Encode(picture, codec, format);
      for (const char* output : {"out.png", "out.jpg"}) {
        const double error = MeanLumaError(file, picture, output);
        EXPECT_GE(error, 0) << width << "x" << height << " " << output;
        EXPECT_LE(error, 2.5) << width << "x" << height << " " << output;
      }
    }
    Workplace workplace;
    workplace.Write("in.png", Encode(picture, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24));
    for (const char* effect : {"mask", "blur"}) {
      EXPECT_EQ(workplace.Portrait({"--quiet", "--effect", effect, "in.png", "out.png"}).exit_status, 0) << effect;
      const Raster out = Decode(workplace.Read("out.png"));
      EXPECT_EQ(std::pair(out.width, out.height), std::pair(width, height)) << effect;
    }
  }
}

// EXIF 2.3, tag 274: where the stored row 0 and column 0 belong.
TEST(PortraitPictures, JpegOrientationIsFollowed) {
  const Raster stored = MakeRaster(24, 16, [](int x, int y) { return Colour{40 + x * 8, 40 + x * 4 + y * 6, 90}; });
  const std::string file = Encode(stored, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P);
  const int w = stored.width;
  const int h = stored.height;
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const bool swaps = orientation >= 5;
    const Raster upright = MakeRaster(swaps ? h : w, swaps ? w : h, [&](int x, int y) {
      switch (orientation) {
        case 2:
          return stored.at(w - 1 - x, y);
        case 3:
          return stored.at(w - 1 - x, h - 1 - y);
        case 4:
          return stored.at(x, h - 1 - y);
        case 5:
          return stored.at(y, x);
        case 6:
          return stored.at(y, h - 1 - x);
        case 7:
          return stored.at(w - 1 - y, h - 1 - x);
        case 8:
          return stored.at(w - 1 - y, x);
        default:
          return stored.at(x, y);
      }
    });
    std::string exif("Exif\0\0MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0o\0\0\0\0\0\0", 32);
    exif[exif.find('o', 20)] = static_cast<char>(orientation);
    std::string tagged = file;
    tagged.insert(2, "\xff\xe1" + std::string{'\0', static_cast<char>(exif.size() + 2)} + exif);
    const double error = MeanLumaError(tagged, upright);
    EXPECT_GE(error, 0) << orientation;
    EXPECT_LE(error, 2) << orientation;
  }
}

}  // namespace
}  // namespace pexo::test
