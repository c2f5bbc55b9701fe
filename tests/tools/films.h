// Films for the tests of portrait, and what is in them.
#ifndef PEXO_TESTS_TOOLS_FILMS_H_
#define PEXO_TESTS_TOOLS_FILMS_H_

#include <string>
#include <vector>

#include "tests/tools/workplace.h"

namespace pexo::test {

// What a shell command prints.
inline std::string OutputOf(const std::string& command) {
  if (std::system((command + " >../printed").c_str()) != 0) throw std::runtime_error(command);
  return ReadFile("../printed");
}

// Values of a film, one line for each stream, packet or frame.
inline std::string Probe(const std::string& film, const std::string& words) {
  return OutputOf("'" PEXO_FFPROBE "' -v error -of csv=p=0 " + words + " '" + film + "' | sed 's/,*$//'");
}

// Every stream's packets by their times, in one order whatever their order in the file.
inline std::string Times(const std::string& film, const std::string& stream) {
  return Probe(film, "-select_streams " + stream + " -show_entries packet=pts_time") + "\n";
}

// The packets of the sound, byte for byte.
inline std::string Sound(const std::string& film) {
  return OutputOf("'" PEXO_FFMPEG "' -v error -i '" + film + "' -map 0:a -c copy -f data - | md5sum");
}

// All frames of a film in a row, in a pixel format, as they are stored: not turned, levels as they are, none dropped.
inline std::string RawFrames(const std::string& film, const std::string& pixels) {
  Ffmpeg("-noautorotate -i '" + film + "' -map 0:v -vf scale=in_range=full:out_range=full -fps_mode passthrough " +
         "-f rawvideo -pix_fmt " + pixels + " ../raw");
  return ReadFile("../raw");
}

}  // namespace pexo::test

#endif  // PEXO_TESTS_TOOLS_FILMS_H_
