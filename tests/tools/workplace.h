// SPDX-License-Identifier: Apache-2.0
// Runs the portrait program as a user would, on pictures that the ffmpeg program makes and reads.
#ifndef PEXO_TESTS_TOOLS_WORKPLACE_H_
#define PEXO_TESTS_TOOLS_WORKPLACE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace pexo::test {

// Before a program that might hang.
inline const std::string kTimeLimit = "timeout " + std::to_string(600 * PEXO_SLOWNESS) + " ";

struct Picture {
  int width = 0, height = 0;
  std::vector<uint8_t> rgb;

  std::size_t size() const { return rgb.size() / 3; }
  double Luma(std::size_t i) const { return 0.299 * rgb[3 * i] + 0.587 * rgb[3 * i + 1] + 0.114 * rgb[3 * i + 2]; }
};

inline void WriteFile(const std::string& name, const std::string& bytes) {
  std::ofstream(name, std::ios::binary) << bytes;
}

inline std::string ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Throws when anything is wrong with the files.
inline void Ffmpeg(const std::string& words) {
  const std::string command = "'" PEXO_FFMPEG "' -nostdin -y -v error -xerror " + words;
  if (std::system(command.c_str()) != 0) throw std::runtime_error(command);
}

// Any picture file, through a chain of ffmpeg's filters.
inline Picture ReadPicture(const std::string& name, const std::string& filters = "null") {
  Ffmpeg("-i '" + name + "' -vf \"" + filters +
         "\" -sws_flags accurate_rnd+full_chroma_int -pix_fmt rgb24 ../read.ppm");
  std::ifstream file("../read.ppm", std::ios::binary);
  std::string magic, levels;
  Picture picture;
  file >> magic >> picture.width >> picture.height >> levels;
  picture.rgb.resize(static_cast<std::size_t>(picture.width) * picture.height * 3);
  file.ignore().read(reinterpret_cast<char*>(picture.rgb.data()), static_cast<std::streamsize>(picture.rgb.size()));
  return picture;
}

// Every test runs in a folder of its own, in which there is a picture: in.png, 64x48.
class Workplace : public testing::Test {
 protected:
  std::string folder_ = (std::filesystem::temp_directory_path() / "portrait-test-XXXXXX").string();

  Workplace() {
    if (::mkdtemp(folder_.data()) == nullptr) throw std::runtime_error("no temporary folder");
    std::filesystem::create_directory(folder_ + "/files");
    std::filesystem::current_path(folder_ + "/files");
    Ffmpeg("-f lavfi -i testsrc2=s=64x48 -frames:v 1 in.png");
  }
  ~Workplace() override {
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder_);
  }

  static std::string Files() {
    std::system("LC_ALL=C ls -A >../list");
    return ReadFile("../list");
  }

  // Runs the program with these words of the shell's, and returns what is wrong with the outcome: status 0 goes with
  // this text on standard output and nothing on standard error; any other with nothing on standard output, one line on
  // standard error that has this text, and the same files as before.
  static std::string Portrait(const std::string& words, int status, const std::string& text,
                              const std::string& before = "") {
    const std::string command =
        "{ " + before + " " + kTimeLimit + "'" PEXO_PORTRAIT "' " + words + "; } >../out 2>../err";
    const std::string files = Files();
    const int ending = WEXITSTATUS(std::system(command.c_str()));
    const std::string out = ReadFile("../out");
    const std::string err = ReadFile("../err");
    const bool is_line = err.starts_with("portrait: ") && err.find('\n') == err.size() - 1;
    const bool is_failure = out.empty() && is_line && err.find(text) != std::string::npos && Files() == files;
    if (ending == status && (status == 0 ? err.empty() && out == text : is_failure)) return "";
    return command + ": status " + std::to_string(ending) + "\n" + out + err + Files();
  }
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_TOOLS_WORKPLACE_H_
