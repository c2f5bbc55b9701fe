// SPDX-License-Identifier: Apache-2.0
// What the program makes of pictures of every kind, and of a real person in a real photograph.
#include <cmath>
#include <limits>
#include <tuple>

#include "frame_conversion.h"
#include "media/frame_converter.h"
#include "picture_reader.h"
#include "tests/tools/workplace.h"

namespace pexo::test {
namespace {

using PortraitPictures = Workplace;

double MeanLumaError(const Picture& a, const Picture& b) {
  if (a.width != b.width || a.height != b.height) return std::numeric_limits<double>::infinity();
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += std::abs(a.Luma(i) - b.Luma(i));
  return sum / static_cast<double>(a.size());
}

// --effect colour keeps luma. The pattern's saturation is low, so that its greyed colours stay in range.
TEST_F(PortraitPictures, EveryKindAndSizeKeepsItsLevels) {
  const std::string pattern =
      ",format=rgba,geq=r='60+mod(X*5+Y,120)':g='70+mod(X+Y*4,110)':b='80+mod(X*2+Y*3,100)':a='mod(60+X*16+Y*3,256)'";
  const std::string over_white =
      "format=rgba,geq=i=n:r='255-(255-r(X,Y))*alpha(X,Y)/255':g='255-(255-g(X,Y))*alpha(X,Y)/255'"
      ":b='255-(255-b(X,Y))*alpha(X,Y)/255'";
  const std::string cases[][2] = {
      {"1x1", "png -pix_fmt rgb24"},          {"2x2", "png -pix_fmt gray16be"},
      {"33x47", "png -pix_fmt rgba"},         {"16x11", "png -vf 'split[a][b];[a]palettegen[p];[b][p]paletteuse'"},
      {"33x47", "mjpeg -pix_fmt yuvj420p"},   {"1x2", "mjpeg -pix_fmt yuvj444p"},
      {"31x37", "libwebp -pix_fmt yuva420p"}, {"52x38", "libwebp -pix_fmt yuv420p"},
  };
  for (const auto& [size, encoder] : cases) {
    SCOPED_TRACE(size + " " + encoder);
    Ffmpeg("-f lavfi -i \"color=d=0.04:s=" + size + pattern + "\" -frames:v 1 -update 1 -c:v " + encoder +
           " -f image2 in");
    const Picture expected = ReadPicture("in", over_white);
    for (const std::string work : {"colour in out.png", "colour in out.jpg", "mask in out.png", "blur in out.jpg"}) {
      EXPECT_EQ(Portrait("--quiet --effect " + work, 0, ""), "");
      const double error = MeanLumaError(ReadPicture(work.substr(work.size() - 7)), expected);
      EXPECT_LE(error, work.starts_with("colour") ? 2 : 255) << work;
    }
  }
}

// Every kind of pixels that a reader could hand over, in its own size and another, against its own way by RGB.
TEST_F(PortraitPictures, EveryPixelFormatKeepsItsColours) {
  av_log_set_level(AV_LOG_QUIET);
  Ffmpeg("-i in.png -vf gblur=40 soft.png");
  const media::AvFrame soft = portrait::ReadPicture("soft.png");
  const auto convert = [](const AVFrame& frame, AVPixelFormat to) {
    constexpr AVColorSpace kBt601 = AVCOL_SPC_BT470BG;
    return media::FrameConverter().Convert(frame, kBt601, {64, 48, to, media::Levels::kFull, kBt601});
  };
  for (int i = 0; i < AV_PIX_FMT_NB; ++i) {
    const auto format = static_cast<AVPixelFormat>(i);
    if (!sws_isSupportedInput(format) || !sws_isSupportedOutput(format)) continue;
    const media::AvFrame picture = convert(*soft, format), by_rgb = convert(*picture, AV_PIX_FMT_RGBA);
    for (const media::Size& size : {media::Size{64, 48}, media::Size{30, 22}}) {
      portrait::CameraFrame seen = portrait::FrameFromPicture(*picture, 2, size);
      portrait::CameraFrame expected = portrait::FrameFromPicture(*by_rgb, 2, size);
      const auto is_close = [](int a, int b) { return std::abs(a - b) <= 2; };
      EXPECT_TRUE(std::equal(seen.luma(), seen.luma() + size.width * size.height * 3 / 2, expected.luma(), is_close))
          << "AVPixelFormat " << i << " to " << size.width;
    }
  }
}

TEST_F(PortraitPictures, PaddingRepeatsTheEdge) {
  Ffmpeg("-i '" PEXO_PHOTOGRAPH "' -vf scale=303:255 -pix_fmt rgb24 odd.png");
  Ffmpeg("-i odd.png -vf format=gbrp,pad=304:256,fillborders=right=1:bottom=1:mode=smear -pix_fmt rgb24 even.png");
  for (const std::string name : {"odd.png", "even.png"}) EXPECT_EQ(Portrait("--quiet " + name + " " + name, 0, ""), "");
  EXPECT_EQ(MeanLumaError(ReadPicture("odd.png"), ReadPicture("even.png", "crop=303:255:0:0")), 0);
}

// EXIF 2.3, tag 274.
TEST_F(PortraitPictures, JpegOrientationIsFollowed) {
  Ffmpeg("-f lavfi -i testsrc2=s=24x16 -vf hue=s=0.3 -frames:v 1 -q:v 2 -pix_fmt yuvj420p plain.jpg");
  std::string exif("\xff\xe1\0\42Exif\0\0MM\0*\0\0\0\10\0\1\1\22\0\3\0\0\0\1\0\0\0\0\0\0\0\0", 36);
  for (const char* filters :
       {"null", "hflip", "hflip,vflip", "vflip", "transpose=0", "transpose=1", "transpose=3", "transpose=2"}) {
    ++exif[29];
    WriteFile("tagged.jpg", ReadFile("plain.jpg").insert(2, exif));
    EXPECT_EQ(Portrait("--quiet --effect colour tagged.jpg out.png", 0, ""), "");
    EXPECT_LE(MeanLumaError(ReadPicture("out.png"), ReadPicture("plain.jpg", filters)), 2) << filters;
  }
}

// The reference is a mask that the model's own runtime made. A photograph that lies on its side is turned back for the
// model, and its mask with it. How many of a mask's pixels are neither person nor background tells the masks apart.
TEST_F(PortraitPictures, MasksOfThePhotographAgreeWithTheReference) {
  const std::tuple<std::string, std::string, double, double> cases[] = {
      {"null", "--effect mask --model small in.png mask.png", 0.985, 0.031},
      {"null", "--effect mask --layout hard in.png mask.png", 0.98, 0.0126},
      {"transpose=2", "--effect mask --rotate 90 --model small in.png mask.png", 0.985, 0.0317},
      {"pad=960:ih:224,transpose=2", "--effect mask --rotate 90 --model auto in.png mask.png", 0.92, 0.0369},
      {"vflip", "--effect mask --rotate 180 in.png mask.png", 0.97, 0.0185},
      {"null", "--mask-out mask.png in.png out.png", 0.985, 0.0155},
      {"null", "--edges model --mask-out mask.png in.png out.png", 0.985, 0.0456},
      {"transpose=1", "--rotate 270 --mask-out mask.png in.png out.png", 0.985, 0.0157},
  };
  for (const auto& [filters, words, least, between] : cases) {
    Ffmpeg("-i '" PEXO_PHOTOGRAPH "' -vf " + filters + " in.png");
    EXPECT_EQ(Portrait("--quiet " + words, 0, ""), "");
    const Picture mask = ReadPicture("mask.png");
    const Picture reference = ReadPicture(PEXO_REFERENCE_MASK, filters);
    double both = 0, any = 0, soft = 0;
    for (std::size_t i = 0; i < mask.rgb.size(); ++i) {
      both += mask.rgb[i] >= 128 && reference.rgb.at(i) >= 128;
      any += mask.rgb[i] >= 128 || reference.rgb.at(i) >= 128;
      soft += mask.rgb[i] > 0 && mask.rgb[i] < 255;
    }
    EXPECT_GE(both / any, least) << words;
    EXPECT_NEAR(soft / static_cast<double>(mask.rgb.size()), between, 0.1 * between) << words;
  }
  EXPECT_EQ(Portrait("--effect mask --rotate 270 --model wide in.png no.png", 1, "a square one"), "");
}

// The camera's direction, and the model: the wide one is for pictures of 16:10 and wider, once they are upright.
TEST_F(PortraitPictures, DirectionAndModelReachTheLibrary) {
  const std::string logs[][2] = {{"--size 160x100", "0 -> 144 * 256 * 1"},
                                 {"--size 158x100", "0 -> 256 * 256 * 1"},
                                 {"--size 160x100 --rotate 270", "0 -> 256 * 256 * 1"},
                                 {"--size 100x160 --rotate 90", "0 -> 144 * 256 * 1"},
                                 {"--effect colour --camera back", "1 -> 256 * 256 * 2"}};
  for (const auto& [words, log] : logs) {
    const std::string tail = " in.png out.png 2>&1 | grep -o -e 'direction = .' -e '-> .*' | tr '\n' ' '";
    EXPECT_EQ(Portrait("--verbose " + words + tail, 0, "direction = " + log + " "), "");
  }
}

TEST_F(PortraitPictures, EffectsOfThePhotographKeepThePersonAndChangeTheRest) {
  const Picture mask = ReadPicture(PEXO_REFERENCE_MASK);
  const Picture before = ReadPicture(PEXO_PHOTOGRAPH);
  for (const std::string effect : {"colour", "blur"}) {
    EXPECT_EQ(Portrait("--quiet --effect " + effect + " '" PEXO_PHOTOGRAPH "' out.png", 0, ""), "");
    const Picture after = ReadPicture("out.png");
    double person = 0, background = 0, change = 0, saturation = 0, detail = 0;
    for (std::size_t i = 1; i < mask.size(); ++i) {
      if (mask.rgb[3 * i] >= 254) {
        ++person;
        change += std::abs(after.rgb.at(3 * i) - before.rgb[3 * i]);
      } else if (mask.rgb[3 * i] <= 1) {
        ++background;
        saturation += std::abs(after.rgb.at(3 * i) - after.rgb[3 * i + 2]);
        detail += std::abs(after.Luma(i) - after.Luma(i - 1));
      }
    }
    EXPECT_LE(change / person, 3) << effect;
    EXPECT_EQ(saturation / background <= 2, effect == "colour");
    EXPECT_EQ(detail / background <= 4, effect == "blur");
  }
}

// Far from the edges of the mask that is written beside.
TEST_F(PortraitPictures, BackgroundsReplaceWhatIsNotThePerson) {
  const Picture before = ReadPicture(PEXO_PHOTOGRAPH);
  Ffmpeg("-f lavfi -i testsrc2=s=800x600 -frames:v 1 behind.png");
  const std::string cases[] = {"grey", "#104080", "behind.png", "none"};
  for (const std::string& background : cases) {
    EXPECT_EQ(
        Portrait("--quiet --background '" + background + "' --mask-out mask.png '" PEXO_PHOTOGRAPH "' out.png", 0, ""),
        "");
    const Picture mask = ReadPicture("mask.png");
    const Picture after = ReadPicture("out.png", background == "none" ? "extractplanes=a" : "null");
    const Picture behind = ReadPicture("behind.png", "crop=512:600");
    double person = 0, kept = 0, other = 0, replaced = 0;
    for (std::size_t i = 0; i < mask.size(); ++i) {
      const uint8_t* pixel = &after.rgb.at(3 * i);
      if (mask.rgb.at(3 * i) == 255) {
        ++person;
        kept += background == "none" ? 255 - pixel[0] : std::abs(pixel[0] - before.rgb[3 * i]);
      } else if (mask.rgb[3 * i] == 0) {
        ++other;
        replaced += background == "grey"         ? std::abs(pixel[0] - before.Luma(i)) + std::abs(pixel[2] - pixel[0])
                    : background == "#104080"    ? std::abs(pixel[0] - 0x10) + std::abs(pixel[2] - 0x80)
                    : background == "behind.png" ? std::abs(after.Luma(i) - behind.Luma(i))
                                                 : pixel[0];
      }
    }
    EXPECT_LE(kept / person, 1.5) << background;
    EXPECT_LE(replaced / other, background == "behind.png" ? 8 : 2) << background;
  }
  EXPECT_EQ(Portrait("--size 300x100 --background none in.png out.png", 0, "out.png: 300x100\n"), "");
}

// Nobody is in front, so the picture behind is all that is seen: through the camera's colours and back.
TEST_F(PortraitPictures, ColoursStayAndAreTheSameOnEveryProcessor) {
  Ffmpeg("-f lavfi -i color=gray:s=96x80 -frames:v 1 nobody.png");
  Ffmpeg("-i nobody.png -vf \"format=gbrp,geq=r='12*abs(mod(Y,40)-20)':g=100:b='12*abs(mod(X,40)-20)'\" wave.png");
  const Picture wave = ReadPicture("wave.png");
  for (const std::string behind : {"wave.png", PEXO_PHOTOGRAPH}) {
    for (const std::string output : {"out.png", "out.jpg"}) {
      const std::string words = "--quiet --background '" + behind + "' nobody.png ";
      EXPECT_EQ(Portrait(words + output, 0, ""), "");
      const Picture seen = ReadPicture(output);
      double error = 0;
      for (std::size_t i = 0; i < wave.rgb.size(); ++i) error += std::abs(seen.rgb.at(i) - wave.rgb[i]);
      EXPECT_LE(error / static_cast<double>(wave.rgb.size()), behind == "wave.png" ? 2 : 255) << output;
#ifdef PEXO_NATIVE_PORTRAIT
      std::system(("'" PEXO_NATIVE_PORTRAIT "' " + words + "native_" + output).c_str());
      EXPECT_TRUE(ReadFile(output) == ReadFile("native_" + output)) << behind << output;
#endif
    }
  }
}

}  // namespace
}  // namespace pexo::test
