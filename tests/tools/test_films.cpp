#include <pexo/humanbodyseg.h>
#include <qmx/qmx_image.h>

#include <algorithm>
#include <sstream>

#include "tests/tools/films.h"

namespace pexo::test {
namespace {

using PortraitFilms = Workplace;

// The photograph before a pattern, 5 seconds with a tone.
void MakeTalk(const std::string& name, const std::string& words = "") {
  Ffmpeg("-f lavfi -i testsrc2=s=160x120:r=30:d=5 -loop 1 -i '" PEXO_PHOTOGRAPH
         "' -f lavfi -i sine -filter_complex '[1]scale=-2:120[p];[0][p]overlay=40+20*sin(t):0:shortest=1' -t 5 " +
         words + " " + name);
}

std::string SortedLines(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  std::ranges::sort(lines);
  std::string sorted;
  for (const std::string& line : lines) sorted += line + "\n";
  return sorted;
}

// Each film through the nine functions, as an application would use them.
std::string ByTheLibrary(std::string frames, int32_t effect, int width, int height, int late) {
  HumanBodySegHandle* handle = pexoHumanBodySegCreate();
  pexoHumanBodySegSetParam(handle, PARAM_EFFECT_MODE, &effect);
  pexoHumanBodySegSetParam(handle, PARAM_MODEL_PATH, PEXO_MODELS_DIR "/MoviePortraitBig.dlc");
  EXPECT_EQ(pexoHumanBodySegInit(handle), HUMANBODYSEG_OK);
  const std::size_t size = static_cast<std::size_t>(width) * height * 3 / 2;
  for (int i = 0; i < late; ++i) frames += frames.substr(frames.size() - size);
  for (std::size_t start = 0; start < frames.size(); start += size) {
    QmxImage image = {};
    image.format = QMX_FORMAT_NV21;
    image.width = width;
    image.height = height;
    image.plane[0] = reinterpret_cast<uint8_t*>(frames.data()) + start;
    image.plane[1] = image.plane[0] + static_cast<std::ptrdiff_t>(width) * height;
    EXPECT_EQ(pexoHumanBodySegProcess(handle, &image, nullptr), HUMANBODYSEG_OK);
  }
  pexoHumanBodySegUninit(handle);
  pexoHumanBodySegDestroy(handle);
  return frames.substr(late * size);
}

TEST_F(PortraitFilms, EffectsAreTheLibrarysToTheByte) {
  const std::tuple<std::string, int32_t, int> effects[] = {{"colour", HUMANBODYSEG_EFFECT_COLOUR, 1},
                                                           {"blur", HUMANBODYSEG_EFFECT_BLUR, 2},
                                                           {"mask", HUMANBODYSEG_EFFECT_MASK, 0}};
  for (const std::string range : {"tv", "pc"}) {
    MakeTalk("in.mkv", "-c:v ffv1 -pix_fmt yuv420p -color_range " + range + " -frames:v 40");
    const std::string frames = RawFrames("in.mkv", "nv21");
    for (const auto& [name, effect, late] : effects) {
      EXPECT_EQ(Portrait("--quiet --codec ffv1 --effect " + name + " in.mkv out.mkv", 0, ""), "");
      EXPECT_TRUE(RawFrames("out.mkv", "nv21") == ByTheLibrary(frames, effect, 160, 120, late)) << name << range;
      EXPECT_EQ(Probe("out.mkv", "-select_streams v -show_entries stream=color_range"), range + "\n");
    }
  }
}

TEST_F(PortraitFilms, FramesTimesAndSoundStay) {
  MakeTalk("in.mp4", "-c:v libx264 -preset ultrafast -bf 2");
  const std::string times = SortedLines(Times("in.mp4", "v"));
  const std::string sound_times = Times("in.mp4", "a");
  const std::string sound = Sound("in.mp4");
  const std::string cases[][2] = {
      {"--effect colour", "out.mp4"}, {"--effect blur", "out.mov"}, {"--effect mask", "out.mp4"}};
  for (const auto& [options, output] : cases) {
    EXPECT_EQ(Portrait(options + " --quiet in.mp4 " + output, 0, ""), "");
    EXPECT_EQ(SortedLines(Times(output, "v")), times) << options;
    EXPECT_EQ(Times(output, "a"), sound_times) << options;
    EXPECT_EQ(Sound(output), sound) << options;
  }
}

}  // namespace
}  // namespace pexo::test
