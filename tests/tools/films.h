// SPDX-License-Identifier: Apache-2.0
// Films for the tests of portrait, and what is in them.
#ifndef PEXO_TESTS_TOOLS_FILMS_H_
#define PEXO_TESTS_TOOLS_FILMS_H_

#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "tests/tools/workplace.h"

namespace pexo::test {

// What a shell command prints.
inline std::string OutputOf(const std::string& command) {
  if (std::system((command + " >../printed").c_str()) != 0) throw std::runtime_error(command);
  return ReadFile("../printed");
}

// Values of a film's streams, packets or frames, a line each.
inline std::string Probe(const std::string& film, const std::string& words) {
  return OutputOf("'" PEXO_FFPROBE "' -v error -of csv=p=0 " + words + " '" + film + "' | sed 's/,*$//; /^$/d'");
}

// When the frames are shown, in their order.
inline std::string FrameTimes(const std::string& film) {
  return OutputOf("'" PEXO_FFPROBE "' -v error -of csv=p=0 -select_streams v -show_entries packet=pts_time '" + film +
                  "' | sed 's/,.*$//; /^$/d' | sort -n");
}

// The packets of the sound with their times, byte for byte.
inline std::string Sound(const std::string& film) {
  return Probe(film, "-select_streams a -show_entries packet=pts_time,size") +
         OutputOf("'" PEXO_FFMPEG "' -v error -i '" + film + "' -map 0:a -c copy -f data - | md5sum");
}

// All frames of a film in a row, in a pixel format, as they are stored: not turned, levels as they are, none dropped.
inline std::string RawFrames(const std::string& film, const std::string& pixels, const std::string& filters = "null") {
  Ffmpeg("-noautorotate -i '" + film + "' -map 0:v -vf " + filters + ",scale=in_range=full:out_range=full " +
         "-fps_mode passthrough -f rawvideo -pix_fmt " + pixels + " ../raw");
  return ReadFile("../raw");
}

// How far the bytes of two films lie apart; infinitely when these are not as many.
inline double MeanDifference(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return std::numeric_limits<double>::infinity();
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += std::abs(static_cast<uint8_t>(a[i]) - static_cast<uint8_t>(b[i]));
  return sum / static_cast<double>(a.size());
}

// A film of the photograph, which jumps by 37 pixels a frame before grey, under the frame's number: eight fields, the
// lowest bit to the left, white for one.
constexpr int kJumpWidth = 256, kJumpHeight = 128, kJumpPerson = 92;
inline int JumpLeft(int frame) {
  return frame * 37 % (kJumpWidth - kJumpPerson);
}
inline void MakeJumps(const std::string& name, int frames, const std::string& words) {
  Ffmpeg("-f lavfi -i color=s=256x128:r=30 -loop 1 -i '" PEXO_PHOTOGRAPH
         "' -f lavfi -i sine -filter_complex \""
         "[0]geq=lum='if(lt(Y,12),235*mod(floor(N/pow(2,floor(X/32))),2),90)':cb=128:cr=128[n];[1]scale=92:108[p];"
         "[n][p]overlay=x='mod((n-1)*37,164)':y=20:shortest=1,format=yuv420p\" -t " +
         std::to_string(frames / 30.0) + " " + words + " " + name);
}

// What such a frame, or a mask of one, shows: the number, and the mean column of what is coloured or, in a mask, white.
struct Jump {
  int number = 0;
  double colour = 0, white = 0;
};
inline std::vector<Jump> ReadJumps(const std::string& film) {
  const std::string frames = RawFrames(film, "yuv444p");
  constexpr std::size_t kPlane = std::size_t{kJumpWidth} * kJumpHeight;
  std::vector<Jump> jumps(frames.size() / (3 * kPlane));
  for (std::size_t i = 0; i < jumps.size(); ++i) {
    const auto* luma = reinterpret_cast<const uint8_t*>(frames.data()) + i * 3 * kPlane;
    for (int bit = 0; bit < 8; ++bit) jumps[i].number |= (luma[5 * kJumpWidth + bit * 32 + 16] >= 128) << bit;
    double coloured = 0, white = 0;
    for (std::size_t p = 16 * kJumpWidth; p < kPlane; ++p) {
      const bool is_coloured = std::abs(luma[kPlane + p] - 128) + std::abs(luma[2 * kPlane + p] - 128) > 12;
      coloured += is_coloured;
      white += luma[p] >= 128;
      jumps[i].colour += is_coloured ? static_cast<double>(p % kJumpWidth) : 0;
      jumps[i].white += luma[p] >= 128 ? static_cast<double>(p % kJumpWidth) : 0;
    }
    jumps[i].colour /= coloured;
    jumps[i].white /= white;
  }
  return jumps;
}

}  // namespace pexo::test

#endif  // PEXO_TESTS_TOOLS_FILMS_H_
