// The shared library with the real engine and the packed models: the mask view shows exactly what the engine says.
#include <gtest/gtest.h>
#include <DlContainer/IDlContainer.hpp>
#include <SNPE/SNPEBuilder.hpp>
#include <SNPE/SNPEFactory.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "pexo/humanbodyseg.h"
#include "tests/support/log_lines.h"
#include "tests/support/model_file.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr char kBig[] = PEXO_MODELS_DIR "/MoviePortraitBig.dlc";
constexpr char kSmall[] = PEXO_MODELS_DIR "/MoviePortraitSmall.dlc";
constexpr int32_t kSide = 256;  // of the models' inputs and outputs

struct Handle {
  explicit Handle(const std::string& path, int32_t effect = HUMANBODYSEG_EFFECT_MASK) {
    pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_EFFECT_MODE, &effect);
    pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_MODEL_PATH, path.c_str());
  }
  ~Handle() {
    pexoHumanBodySegUninit(handle);
    pexoHumanBodySegDestroy(handle);
  }

  HumanBodySegHandle* const handle = pexoHumanBodySegCreate();
};

// A head over shoulders before a bright wall.
TestImage Portrait(int32_t width, int32_t height) {
  TestImage frame(width, height, QMX_FORMAT_NV21);
  const auto inside = [&](int32_t x, int32_t y, double at_x, double at_y, double radius_x, double radius_y) {
    const double dx = (static_cast<double>(x) / width - at_x) / radius_x;
    const double dy = (static_cast<double>(y) / height - at_y) / radius_y;
    return dx * dx + dy * dy < 1;
  };
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const bool skin = inside(x, y, 0.5, 0.35, 0.12, 0.2), coat = inside(x, y, 0.5, 1.0, 0.35, 0.45);
      const bool hair = inside(x, y, 0.5, 0.3, 0.14, 0.2) && y < height / 4;
      frame.plane[0][y * width + x] = hair ? 40 : skin ? 165 : coat ? 70 : 210;
      uint8_t* const v_u = frame.plane[1] + y / 2 * width + x / 2 * 2;
      v_u[0] = skin && !hair ? 155 : 128;
      v_u[1] = skin && !hair ? 110 : coat ? 135 : 128;
    }
  }
  return frame;
}

// The engine's output for a frame, without the library.
Bytes EngineOutput(const char* path, const TestImage& frame, size_t channels) {
  using namespace zdl;
  TestImage small(kSide, kSide, QMX_FORMAT_NV21), rgb(kSide, kSide, QMX_FORMAT_RGB888);
  qmxResize(&frame, &small, QMX_INTERPOLATION_BILINEAR);
  qmxColorNV21toRGB888u8(&small, &rgb);
  const auto container = DlContainer::IDlContainer::open(DlSystem::String(path));
  SNPE::SNPEBuilder builder(container.get());
  const auto network = builder.setUseUserSuppliedBuffers(true).build();
  DlSystem::UserBufferEncodingTfN encoding(0, 1.0f);
  Bytes output(size_t{kSide} * kSide * channels);
  auto& factory = SNPE::SNPEFactory::getUserBufferFactory();
  const auto in =
      factory.createUserBuffer(rgb.bytes.data(), rgb.bytes.size(), {rgb.bytes.size(), kSide * 3, 3, 1}, &encoding);
  const auto out =
      factory.createUserBuffer(output.data(), output.size(), {output.size(), kSide * channels, channels, 1}, &encoding);
  DlSystem::UserBufferMap inputs, outputs;
  inputs.add((*network->getInputTensorNames()).at(0), in.get());
  outputs.add((*network->getOutputTensorNames()).at(0), out.get());
  EXPECT_TRUE(network->execute(inputs, outputs));
  return output;
}

TestImage Scaled(const TestImage& mask, const TestImage& frame) {
  TestImage scaled(frame.width, frame.height, QMX_FORMAT_GRAY8);
  qmxResize(&mask, &scaled, QMX_INTERPOLATION_BILINEAR);
  return scaled;
}

double Foreground(const Bytes& pixels, size_t count) {
  return static_cast<double>(std::count_if(pixels.begin(), pixels.begin() + static_cast<ptrdiff_t>(count),
                                           [](uint8_t m) { return m >= 128; })) /
         static_cast<double>(count);
}

TEST(Product, BigModelsMaskIsTheScoresOfTheEngine) {
  const Handle owner(kBig);
  EXPECT_EQ(LogLines([&] { ASSERT_EQ(pexoHumanBodySegInit(owner.handle), 0); }),
            (Lines{"Enter pexoHumanBodySegInit!", "Camera direction = 0, effect mode = 3",
                   std::string(kBig) + " Runtime is not supported, use CPU mode!",
                   "DLC size = 256 * 256 * 3 -> 256 * 256 * 2", "Exit pexoHumanBodySegInit!"}));
  for (const auto& [width, height] : {std::pair{640, 480}, {256, 256}, {98, 130}}) {
    TestImage frame = Portrait(width, height);
    const Bytes scores = EngineOutput(kBig, frame, 2);
    TestImage mask(kSide, kSide, QMX_FORMAT_GRAY8);
    for (size_t i = 0; i < mask.bytes.size(); ++i) {
      const int d = scores[2 * i + 1] - scores[2 * i];
      mask.bytes[i] =
          static_cast<uint8_t>(d <= 0 ? 32 * (std::max(d, -4) + 4) : 255 - (43 - std::min(d, 43)) * 128 / 43);
    }
    const Bytes expected = Scaled(mask, frame).bytes;
    ASSERT_EQ(pexoHumanBodySegProcess(owner.handle, &frame, nullptr), 0);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), frame.bytes.begin()));
    EXPECT_EQ(Bytes(frame.bytes.begin() + width * height, frame.bytes.end()), Bytes(expected.size() / 2, 128));
    EXPECT_GT(Foreground(expected, expected.size()), 0.1);  // the mask is of something
    EXPECT_LT(Foreground(expected, expected.size()), 0.6);
  }
}

TEST(Product, SmallModelsMaskIsTheLogitOfTheEngineShaped) {
  const Handle owner(kSmall);
  ASSERT_EQ(pexoHumanBodySegInit(owner.handle), 0);
  TestImage frame = Portrait(320, 240);
  TestImage grey(kSide, kSide, QMX_FORMAT_GRAY8, EngineOutput(kSmall, frame, 1));
  const Bytes levels = Scaled(grey, frame).bytes;
  EXPECT_EQ(LogLines([&] { ASSERT_EQ(pexoHumanBodySegProcess(owner.handle, &frame, nullptr), 0); }),
            Lines{"Min/Max sigmoid value = -20.01/29.05"});
  for (size_t i = 0; i < levels.size(); ++i) {
    ASSERT_NEAR(frame.bytes[i], 255 / (1 + std::exp(20.01 - levels[i] * 49.06 / 255)), 0.501) << int{levels[i]};
  }
  EXPECT_GT(Foreground(frame.bytes, levels.size()), 0.1);
}

TEST(Product, FilesThatAreNoModelsAreRefused) {
  std::ifstream model(kBig, std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(model), {}};
  ASSERT_GT(whole.size(), 100000u);
  std::string altered = whole;
  altered[altered.size() / 2] ^= 1;
  for (const std::string& content : {std::string(), std::string("no model"), whole.substr(0, 1000), altered}) {
    for (const int32_t effect : {1, 2, 3}) {
      const ModelFile file("model.dlc");
      std::ofstream(file.path(), std::ios::binary) << content;
      const Handle owner(file.path(), effect);
      const Lines lines = LogLines([&] { EXPECT_EQ(pexoHumanBodySegInit(owner.handle), 2); });
      EXPECT_EQ(Lines(lines.end() - 3, lines.end()), (Lines{"zdl::SNPE::SNPEBuilder build failed.",
                                                            "Fail to open snpe model!", "Exit pexoHumanBodySegInit!"}));
      TestImage frame(16, 16, QMX_FORMAT_NV21);
      EXPECT_EQ(pexoHumanBodySegProcess(owner.handle, &frame, nullptr), effect == 3 ? 2 : 0);
    }
  }
}

}  // namespace
}  // namespace pexo
