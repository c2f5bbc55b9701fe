// A real person in a real photograph, against a mask that the model's own runtime made.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "tests/tools/program.h"
#include "tests/tools/raster.h"

namespace pexo::test {
namespace {

Raster Load(const char* path) {
  std::ostringstream bytes;
  bytes << std::ifstream(path, std::ios::binary).rdbuf();
  return Decode(bytes.str());
}

class Photograph : public testing::Test {
 protected:
  double Agreement(const Raster& photograph, const Raster& reference, std::vector<std::string> options) {
    workplace_.Write("in.png", Encode(photograph, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24));
    options.insert(options.end(), {"--effect", "mask", "--quiet", "in.png", "out.png"});
    const Outcome outcome = workplace_.Portrait(options);
    EXPECT_EQ(outcome.exit_status, 0) << outcome.standard_error;
    if (outcome.exit_status != 0) return 0;
    return IntersectionOverUnion(Decode(workplace_.Read("out.png")), reference);
  }

  Workplace workplace_;
  Raster photograph_ = Load(PEXO_PHOTOGRAPH);
  Raster reference_ = Load(PEXO_REFERENCE_MASK);
};

TEST_F(Photograph, MasksAgreeWithTheReference) {
  EXPECT_GE(Agreement(photograph_, reference_, {"--model", "big"}), 0.98);
  EXPECT_GE(Agreement(photograph_, reference_, {"--model", PEXO_MODELS_DIR "/MoviePortraitBig.dlc"}), 0.98);
  EXPECT_GE(Agreement(photograph_, reference_, {"--model", "small"}), 0.95);
  EXPECT_GE(Agreement(photograph_, reference_, {"--layout", "hard"}), 0.95);
  EXPECT_GE(Agreement(photograph_, reference_, {"--camera", "back"}), 0.98);
}

// A photograph that lies on its side is turned back for the model, and its mask with it.
TEST_F(Photograph, RotationMakesTheModelSeeItUpright) {
  for (const char* model : {"big", "small"}) {
    SCOPED_TRACE(model);
    const Raster right = TurnRight(photograph_);
    const Raster right_reference = TurnRight(reference_);
    EXPECT_GE(Agreement(right, right_reference, {"--rotate", "270", "--model", model}), 0.93);
    EXPECT_LT(Agreement(right, right_reference, {"--rotate", "90", "--model", model}), 0.9) << "upside down";
    EXPECT_GE(Agreement(TurnLeft(photograph_), TurnLeft(reference_), {"--rotate", "90", "--model", model}), 0.93);
    EXPECT_GE(Agreement(FlipUpsideDown(photograph_), FlipUpsideDown(reference_), {"--rotate", "180", "--model", model}),
              0.93);
  }
}

// Saturation is what separates the person from the background, and luma stays.
TEST_F(Photograph, ColourKeepsThePersonAndGreysTheRest) {
  workplace_.Write("in.png", Encode(photograph_, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24));
  ASSERT_EQ(workplace_.Portrait({"--effect", "colour", "--quiet", "in.png", "out.png"}).exit_status, 0);
  const Raster out = Decode(workplace_.Read("out.png"));
  double luma_error = 0;
  double kept_error = 0;
  double background_saturation = 0;
  int person = 0;
  int background = 0;
  for (std::size_t i = 0; i < out.pixels.size(); ++i) {
    const Colour& before = photograph_.pixels[i];
    const Colour& after = out.pixels[i];
    luma_error += std::abs(Luma(before) - Luma(after));
    if (reference_.pixels[i].r >= 254) {
      ++person;
      kept_error += std::abs((before.r - before.b) - (after.r - after.b));
    } else if (reference_.pixels[i].r <= 1) {
      ++background;
      background_saturation += std::abs(after.r - after.b);
    }
  }
  EXPECT_LT(luma_error / static_cast<double>(out.pixels.size()), 1);
  ASSERT_GT(person, 50000);
  ASSERT_GT(background, 50000);
  EXPECT_LT(kept_error / person, 4);
  EXPECT_LT(background_saturation / background, 2);
}

// The amount of fine detail: the mean step between neighbours.
double Detail(const Raster& raster, const Raster& reference, bool in_person) {
  double sum = 0;
  int count = 0;
  for (int y = 0; y < raster.height; ++y) {
    for (int x = 1; x < raster.width; ++x) {
      const int mask = reference.at(x, y).r;
      if (in_person ? mask < 254 : mask > 1) continue;
      sum += std::abs(Luma(raster.at(x, y)) - Luma(raster.at(x - 1, y)));
      ++count;
    }
  }
  return sum / count;
}

TEST_F(Photograph, BlurKeepsThePersonSharp) {
  workplace_.Write("in.png", Encode(photograph_, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24));
  ASSERT_EQ(workplace_.Portrait({"--quiet", "in.png", "out.png"}).exit_status, 0);
  const Raster out = Decode(workplace_.Read("out.png"));
  ASSERT_EQ(out.pixels.size(), photograph_.pixels.size());
  EXPECT_GT(Detail(out, reference_, true), 0.95 * Detail(photograph_, reference_, true));
  EXPECT_LT(Detail(out, reference_, false), 0.75 * Detail(photograph_, reference_, false));
}

}  // namespace
}  // namespace pexo::test
