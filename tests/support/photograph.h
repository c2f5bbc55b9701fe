// SPDX-License-Identifier: Apache-2.0
// A portrait, as raw pixels that the ffmpeg program makes of it.
#ifndef PEXO_TESTS_SUPPORT_PHOTOGRAPH_H_
#define PEXO_TESTS_SUPPORT_PHOTOGRAPH_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace pexo::test {

// Stretched to this size, in a pixel format of ffmpeg's that needs `bytes`.
inline std::vector<uint8_t> Photograph(size_t width, size_t height, const std::string& format, size_t bytes) {
  const std::string command = "'" PEXO_FFMPEG "' -v error -i '" PEXO_PHOTOGRAPH "' -vf scale=" + std::to_string(width) +
                              ":" + std::to_string(height) + ",format=" + format + " -f rawvideo -";
  std::vector<uint8_t> pixels(bytes);
  FILE* pipe = popen(command.c_str(), "r");
  const size_t read = pipe == nullptr ? 0 : std::fread(pixels.data(), 1, bytes, pipe);
  if (pipe == nullptr || pclose(pipe) != 0 || read != bytes) throw std::runtime_error(command);
  return pixels;
}

}  // namespace pexo::test

#endif  // PEXO_TESTS_SUPPORT_PHOTOGRAPH_H_
