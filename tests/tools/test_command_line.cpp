// SPDX-License-Identifier: Apache-2.0
#include <pexo/humanbodyseg.h>
#include <sys/stat.h>

#include "tests/tools/workplace.h"

namespace pexo::test {
namespace {

using PortraitCommandLine = Workplace;

TEST_F(PortraitCommandLine, WrongOnesAreRefusedBeforeAnyWork) {
  const char* const cases[][2] = {
      {"", "input"},
      {"in.png out.png more.png", "one"},
      {"in.png out.png --model", "--model"},
      {"--effect sepia in.png out.png", "sepia"},
      {"--rotate 45 in.png out.png", "45"},
      {"--camera left in.png out.png", "left"},
      {"--frobnicate in.png out.png", "--frobnicate"},
      {"in.png out.gif", "out.gif"},
      {"--effect blur --background blur in.png out.png", "not both"},
      {"--effect blur --mask-out mask.png in.png out.png", "--mask-out"},
      {"--background blur:0 in.png out.png", "'0'"},
      {"--background nowhere.png in.png out.png", "nowhere.png"},
      {"--background none in.png out.jpg", ".png"},
      {"--calm 2 in.png out.png", "'2'"},
      {"--size 1x1 in.png out.png", "'1x1'"},
      {"--from 2 --to 1 in.mp4 out.mp4", "--to"},
      {"in.mp4 -", "--format"},
      {"in.mp4 out.txt", "out.txt"},
      {"--background none in.mp4 out.mp4", ".webm"},
      {"--codec vp8 in.mp4 out.mp4", "vp8"},
      {"in.png 'line\nbreak'", "line?break"},
  };
  for (const auto& [words, subject] : cases) EXPECT_EQ(Portrait(words, 2, subject), "");
}

TEST_F(PortraitCommandLine, RightOnesPrintAndWriteWhatWasAskedFor) {
  EXPECT_EQ(Portrait("--version", 0, pexoHumanBodySegGetVersion()->version_string + std::string("\n")), "");
  EXPECT_EQ(Portrait("--help >../help", 0, ""), "");
  EXPECT_TRUE(ReadFile("../help").starts_with("Usage: portrait "));
  EXPECT_EQ(Portrait("in.png --effect=mask out.JPG --camera back --layout soft", 0, "out.JPG: 64x48\n"), "");
  // In place, through a link to the file.
  std::filesystem::create_symlink("in.png", "link.png");
  const auto permissions = std::filesystem::status("in.png").permissions();
  EXPECT_EQ(Portrait("--quiet --effect colour --camera front in.png link.png", 0, ""), "");
  EXPECT_TRUE(std::filesystem::is_symlink("link.png"));
  EXPECT_EQ(ReadPicture("in.png").width, 64);
  EXPECT_EQ(std::filesystem::status("in.png").permissions(), permissions);
  EXPECT_EQ(Files(), "in.png\nlink.png\nout.JPG\n");
}

TEST_F(PortraitCommandLine, WhatFailsIsNamedAndNothingIsWritten) {
  WriteFile("kept.png", "as it was");
  WriteFile("huge.png", "");
  std::filesystem::resize_file("huge.png", std::uintmax_t{3} << 30);
  std::filesystem::create_directory("folder.png");
  const std::string long_name(128, 'm');
  std::filesystem::create_symlink(PEXO_MODELS_DIR "/MoviePortraitBig.dlc", long_name);
  ::mkfifo("pipe.dlc", 0600);
  const std::string cases[][2] = {
      {"absent.png kept.png", "absent.png: "},
      {". kept.png", ".: "},
      {"huge.png kept.png", "huge.png: cannot be read: File too large"},
      {"kept.png kept.png", "kept.png: "},
      {"in.png folder.png", "folder.png: "},
      {"in.png absent/out.png", "absent/out.png: "},
      {"--model absent.dlc in.png kept.png", "absent.dlc: "},
      {"--model pipe.dlc in.png kept.png", "pipe.dlc: "},
      {"--model in.png in.png kept.png", "in.png: the model cannot be loaded: not a container"},
      {"--effect blur --model in.png in.png kept.png",
       "in.png: the model cannot be loaded (status 2): not a container"},
      {"--model " + long_name + " in.png kept.png", "longer than 127"},
  };
  for (const auto& [words, subject] : cases) EXPECT_EQ(Portrait("--quiet " + words, 1, subject), "");
  // The disk has room for a part.
  EXPECT_EQ(Portrait("--quiet in.png kept.png", 1, "kept.png: ", "ulimit -f 1; trap '' XFSZ;"), "");
  // The library hands back the room where the network fails on a frame.
  WriteFile("../engine", "fails");
  for (const std::string effect : {"colour", "blur", "mask"}) {
    EXPECT_EQ(Portrait("--effect " + effect + " in.png kept.png", 1, "in.png: the picture cannot be processed",
                       "export LD_LIBRARY_PATH='" PEXO_FAKE_ENGINE_DIR "' PEXO_FAKE_ENGINE=../engine;"),
              "");
  }
  EXPECT_EQ(ReadFile("kept.png"), "as it was");
}

TEST_F(PortraitCommandLine, AnInputThatIsNoWholePictureIsNamed) {
  Ffmpeg("-i in.png ../in.jpg -c:v libwebp ../in.webp");
  std::vector<std::string> inputs = {"", "P3 1 1 255 0 0 0\n", "\xff\xd8\xff\xd9", {"RIFF\4\0\0\0WEBP", 12}};
  for (const char* name : {"in.png", "../in.jpg", "../in.webp"}) {
    const std::string whole = ReadFile(name);
    for (std::size_t missing : {whole.size() - 8, whole.size() / 2, std::size_t{12}, std::size_t{1}}) {
      inputs.push_back(whole.substr(0, whole.size() - missing));
    }
  }
  inputs.push_back(ReadFile("in.png"));
  inputs.back().at(300) ^= 0x55;  // only the checksum shows it
  for (const std::string& input : inputs) {
    WriteFile("in.dat", input);
    EXPECT_EQ(Portrait("--quiet in.dat out.png", 1, "in.dat: "), "") << testing::PrintToString(input);
  }
}

}  // namespace
}  // namespace pexo::test
