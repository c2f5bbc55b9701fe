// The shared library with the real engine and real models: what Init says and answers, and that a frame comes through.
#include <gtest/gtest.h>

#include <fstream>

#include "pexo/humanbodyseg.h"
#include "tests/support/frames.h"
#include "tests/support/log_lines.h"

namespace pexo {
namespace {

TEST(Product, OpensModelsAndRefusesAnythingElse) {
  const std::string folder = PEXO_MODELS_DIR, big = folder + "/MoviePortraitBig.dlc";
  std::ifstream model(big, std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(model), {}};
  ASSERT_GT(whole.size(), 100000u);
  std::string altered = whole;
  altered[altered.size() / 2] ^= 1;
  const auto file = [](const std::string& content) {
    const std::string path = testing::TempDir() + "pexo_product_" + std::to_string(content.size());
    std::ofstream(path, std::ios::binary) << content;
    return path;
  };
  const Lines refused{"zdl::SNPE::SNPEBuilder build failed.", "Fail to open snpe model!"};
  const std::tuple<std::string, int32_t, Lines> cases[] = {
      {big, 0, {"DLC size = 256 * 256 * 3 -> 256 * 256 * 2"}},
      {folder + "/MoviePortraitSmall.dlc", 0, {"DLC size = 256 * 256 * 3 -> 256 * 256 * 1"}},
      {file(""), 2, refused},
      {file(whole.substr(0, 1000)), 2, refused},
      {file(altered), 2, refused}};
  for (const auto& [path, status, lines] : cases) {
    HumanBodySegHandle* const handle = pexoHumanBodySegCreate();
    const int32_t effect = HUMANBODYSEG_EFFECT_MASK;
    pexoHumanBodySegSetParam(handle, PARAM_EFFECT_MODE, &effect);
    pexoHumanBodySegSetParam(handle, PARAM_MODEL_PATH, path.c_str());
    Lines expected{"Enter pexoHumanBodySegInit!", "Camera direction = 0, effect mode = 3",
                   path + " Runtime is not supported, use CPU mode!"};
    expected.insert(expected.end(), lines.begin(), lines.end());
    expected.push_back("Exit pexoHumanBodySegInit!");
    EXPECT_EQ(LogLines([&] { EXPECT_EQ(pexoHumanBodySegInit(handle), status); }), expected);
    test::Frame frame(64, 48);
    EXPECT_EQ(pexoHumanBodySegProcess(handle, &frame.image(), nullptr), status);
    pexoHumanBodySegUninit(handle);
    pexoHumanBodySegDestroy(handle);
  }
}

}  // namespace
}  // namespace pexo
