#include <gtest/gtest.h>

#include <algorithm>

#include "tests/tools/program.h"
#include "tests/tools/raster.h"

namespace pexo::test {
namespace {

using Files = std::vector<std::string>;

std::string SmallPng() {
  return Encode(MakeRaster(16, 12,
                           [](int x, int y) {
                             return Colour{x * 10, y * 10, 90};
                           }),
                AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24);
}

TEST(PortraitCommandLine, WrongOnesAreRefusedBeforeAnyWork) {
  Workplace workplace;
  workplace.Write("in.png", SmallPng());
  const struct {
    std::vector<std::string> arguments;
    const char* subject;
  } cases[] = {
      {{}, "input"},
      {{"in.png"}, "output"},
      {{"in.png", "out.png", "more.png"}, "one"},
      {{"--effect", "sepia", "in.png", "out.png"}, "sepia"},
      {{"--effect", "", "in.png", "out.png"}, "effect"},
      {{"--rotate", "45", "in.png", "out.png"}, "45"},
      {{"--rotate", "-90", "in.png", "out.png"}, "-90"},
      {{"--camera", "left", "in.png", "out.png"}, "left"},
      {{"--layout", "1", "in.png", "out.png"}, "layout"},
      {{"--model", "", "in.png", "out.png"}, "model"},
      {{"--frobnicate", "in.png", "out.png"}, "--frobnicate"},
      {{"-q", "in.png", "out.png"}, "-q"},
      {{"in.png", "out.png", "--model"}, "--model"},
      {{"in.png", "out.gif"}, "out.gif"},
      {{"in.png", "out"}, "out"},
      {{"in.png", "png"}, "png"},
      {{"in.png", ".png"}, ".png"},
      {{"in.png", ""}, "output"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(WrongWithReport(workplace.Portrait(c.arguments), 2, c.subject), "")
        << testing::PrintToString(c.arguments);
  }
  EXPECT_EQ(workplace.Files(), Files{"in.png"});
}

TEST(PortraitCommandLine, HelpAndVersion) {
  Workplace workplace;
  const Outcome help = workplace.Portrait({"--help"});
  EXPECT_EQ(help.exit_status, 0);
  EXPECT_EQ(help.standard_error, "");
  for (const char* option : {"--effect", "--model", "--rotate", "--camera", "--layout", "--quiet", "--version"}) {
    EXPECT_NE(help.standard_output.find(option), std::string::npos) << option;
  }
  const Outcome version = workplace.Portrait({"--version"});
  EXPECT_EQ(version.exit_status, 0);
  EXPECT_EQ(version.standard_error, "");
  EXPECT_TRUE(version.standard_output.starts_with("libpexohumanbodyseg_")) << version.standard_output;
  EXPECT_EQ(std::count(version.standard_output.begin(), version.standard_output.end(), '\n'), 1);
}

TEST(PortraitCommandLine, QuietPrintsNothingOtherwiseTheOutputIsNamed) {
  Workplace workplace;
  workplace.Write("in.png", SmallPng());
  for (const char* effect : {"mask", "colour", "blur"}) {
    const Outcome quiet = workplace.Portrait({"--quiet", "--effect", effect, "in.png", "out.png"});
    EXPECT_EQ(quiet.exit_status, 0) << effect;
    EXPECT_EQ(quiet.standard_output, "") << effect;
    EXPECT_EQ(quiet.standard_error, "") << effect;
  }
  const Outcome plain = workplace.Portrait({"in.png", "--effect=mask", "out.jpg"});
  EXPECT_EQ(plain.exit_status, 0);
  EXPECT_EQ(plain.standard_output, "out.jpg: 16x12\n");
  EXPECT_EQ(workplace.Files(), (Files{"in.png", "out.jpg", "out.png"}));
}

TEST(PortraitInput, WhatIsNoPictureIsNamedAndNothingIsWritten) {
  Workplace workplace;
  const Raster raster = MakeRaster(64, 48, [](int x, int y) { return Colour{x * 4, y * 5, (x * y) & 255}; });
  const std::string png = Encode(raster, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24);
  const std::string jpeg = Encode(raster, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P);
  const std::string webp = Encode(raster, AV_CODEC_ID_WEBP, AV_PIX_FMT_YUV420P);
  std::vector<std::pair<std::string, std::string>> inputs = {
      {"empty", ""},
      {"one byte", "\x89"},
      {"text", "P3 1 1 255 0 0 0\n"},
      {"gif", "GIF89a\x01"},
      {"signature of png", png.substr(0, 8)},
      {"riff of another kind", "RIFF\x04" + std::string(3, '\0') + "WAVE"},
      {"webp without anything", "RIFF\x04" + std::string(3, '\0') + "WEBP"},
      {"jpeg without anything", "\xff\xd8\xff\xd9"},
  };
  for (const std::string* file : {&png, &jpeg, &webp}) {
    for (std::size_t eighths = 1; eighths < 8; ++eighths) {
      inputs.emplace_back("truncated to " + std::to_string(eighths) + "/8",
                          file->substr(0, file->size() * eighths / 8));
    }
    inputs.emplace_back("without the last byte", file->substr(0, file->size() - 1));
  }
  // A damaged checksum in a PNG's pixels, and its header.
  for (std::size_t position : {std::size_t{20}, png.size() / 2}) {
    std::string damaged = png;
    damaged[position] = static_cast<char>(damaged[position] ^ 0x55);
    inputs.emplace_back("png damaged at " + std::to_string(position), damaged);
  }
  for (const auto& [name, bytes] : inputs) {
    workplace.Write("in.dat", bytes);
    EXPECT_EQ(WrongWithReport(workplace.Portrait({"--quiet", "in.dat", "out.png"}), 1, "in.dat"), "") << name;
  }
  EXPECT_EQ(WrongWithReport(workplace.Portrait({"--quiet", "absent.png", "out.png"}), 1, "absent.png"), "");
  EXPECT_EQ(WrongWithReport(workplace.Portrait({"--quiet", ".", "out.png"}), 1, ".: "), "");
  EXPECT_EQ(WrongWithReport(workplace.Portrait({"--quiet", "line\nbreak", "out.png"}), 1, "line?break"), "");
  EXPECT_EQ(workplace.Files(), Files{"in.dat"});
  std::filesystem::resize_file(workplace / "in.dat", std::uintmax_t{3} << 30);
  EXPECT_EQ(WrongWithReport(workplace.Portrait({"--quiet", "in.dat", "out.png"}), 1, "too large"), "");
}

TEST(PortraitOutput, IsReplacedWholeOrNotAtAll) {
  Workplace workplace;
  workplace.Write("in.png", SmallPng());
  workplace.Write("bad.png", "no picture");
  workplace.Write("kept.png", "as it was");
  std::filesystem::create_directory(workplace / "folder.png");

  EXPECT_EQ(WrongWithReport(workplace.Portrait({"--quiet", "bad.png", "kept.png"}), 1, "bad.png"), "");
  EXPECT_EQ(workplace.Read("kept.png"), "as it was");
  for (const char* output : {"folder.png", "absent/out.png", "kept.png/out.png", "/proc/out.png"}) {
    EXPECT_EQ(WrongWithReport(workplace.Portrait({"--quiet", "in.png", output}), 1, output), "") << output;
  }
  EXPECT_EQ(workplace.Files(), (Files{"bad.png", "folder.png", "in.png", "kept.png"}));

  // In place, and through a link to the file behind it.
  ASSERT_EQ(workplace.Portrait({"--quiet", "in.png", "in.png"}).exit_status, 0);
  EXPECT_EQ(Decode(workplace.Read("in.png")).width, 16);
  std::filesystem::create_symlink("kept.png", workplace / "link.png");
  ASSERT_EQ(workplace.Portrait({"--quiet", "in.png", "link.png"}).exit_status, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(workplace / "link.png"));
  EXPECT_EQ(Decode(workplace.Read("kept.png")).width, 16);
  EXPECT_EQ(workplace.Files(), (Files{"bad.png", "folder.png", "in.png", "kept.png", "link.png"}));
}

TEST(PortraitModel, WhatIsNoModelIsNamed) {
  Workplace workplace;
  workplace.Write("in.png", SmallPng());
  workplace.Write("empty.dlc", "");
  workplace.Write("damaged.dlc", "PK\x03\x04 and nothing more");
  for (const char* model : {"absent.dlc", "empty.dlc", "damaged.dlc", "in.png", "."}) {
    for (const char* effect : {"mask", "colour", "blur"}) {
      const Outcome outcome =
          workplace.Portrait({"--quiet", "--effect", effect, "--model", model, "in.png", "out.png"});
      EXPECT_EQ(WrongWithReport(outcome, 1, model), "") << model << " " << effect;
    }
  }
  EXPECT_EQ(workplace.Files(), (Files{"damaged.dlc", "empty.dlc", "in.png"}));
}

TEST(PortraitModel, PathsOfUpTo127CharactersWork) {
  Workplace workplace;
  workplace.Write("in.png", SmallPng());
  for (std::size_t length : {std::size_t{127}, std::size_t{128}}) {
    const std::string name = std::string(length - 4, 'm') + ".dlc";
    std::filesystem::create_symlink(PEXO_MODELS_DIR "/MoviePortraitBig.dlc", workplace / name);
    const Outcome outcome = workplace.Portrait({"--quiet", "--model", name, "in.png", "out.png"});
    if (length <= 127) {
      EXPECT_EQ(outcome.exit_status, 0) << outcome.standard_error;
    } else {
      EXPECT_EQ(WrongWithReport(outcome, 1, "127"), "");
    }
  }
}

}  // namespace
}  // namespace pexo::test
