// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include "live/live_background.h"

namespace pexo::live {
namespace {

using std::chrono::milliseconds;

constexpr int kRate = 10;
constexpr char kFile[] = "live_background.y4m";

// Grey frames, each a level brighter than the one before.
void WriteFilm(int first_level, int frames) {
  std::ofstream file(kFile, std::ios::binary);
  file << "YUV4MPEG2 W16 H16 F" << kRate << ":1 C420jpeg\n";
  for (int i = 0; i < frames; ++i) {
    file << "FRAME\n" << std::string(256, static_cast<char>(first_level + i)) << std::string(128, '\x80');
  }
}

std::optional<int> LevelAt(LiveBackground& background, Time now) {
  const compositor::Background* changed = background.At(now);
  if (changed == nullptr) return {};
  return std::get<compositor::Picture>(*changed).frame.plane[0][0];
}

TEST(LiveBackground, FilmsGoOnWithThePicturesAndFilesAreReadAgain) {
  WriteFilm(50, 30);
  LiveBackground background(portrait::BackgroundFile{kFile});
  Time now = Time(std::chrono::hours(1));
  EXPECT_EQ(LevelAt(background, now), 50);
  for (int frame = 1; frame < 3; ++frame) {
    EXPECT_EQ(LevelAt(background, now += milliseconds(1000 / kRate)), 50 + frame);
  }
  // Nobody looked for a day: the film has waited.
  EXPECT_EQ(LevelAt(background, now += std::chrono::hours(24)), 53);

  std::ofstream(kFile, std::ios::binary) << "not yet a film";
  EXPECT_EQ(LevelAt(background, now += std::chrono::seconds(1)), 55) << "the one before goes on";
  WriteFilm(120, 1);
  EXPECT_EQ(LevelAt(background, now += milliseconds(500)), 56) << "looked at once a second";
  EXPECT_EQ(LevelAt(background, now += milliseconds(500)), 120);
  std::filesystem::remove(kFile);
  EXPECT_EQ(LevelAt(background, now += std::chrono::seconds(1)), std::nullopt) << "one that is gone stays as it was";
  WriteFilm(200, 1);
  EXPECT_EQ(LevelAt(background, now += std::chrono::seconds(1)), 200);
}

}  // namespace
}  // namespace pexo::live
