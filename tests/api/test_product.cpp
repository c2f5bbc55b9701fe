// SPDX-License-Identifier: Apache-2.0
// The shared library with the real engine and real models: what Init says and answers, and that a frame comes through.
#include <gtest/gtest.h>

#include <DlContainer/IDlContainer.hpp>
#include <DlSystem/DlError.hpp>
#include <fstream>

#include "tests/support/handle.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

TEST(Product, OpensModelsAndRefusesAnythingElse) {
  const std::string folder = PEXO_MODELS_DIR, junk = testing::TempDir() + "pexo_junk.dlc";
  std::ofstream(junk) << "junk";
  const struct {
    std::string path;
    int32_t status;
    std::string size;
  } cases[] = {{folder + "/MoviePortraitBig.dlc", 0, "DLC size = 256 * 256 * 3 -> 256 * 256 * 2"},
               {folder + "/MoviePortraitSmall.dlc", 0, "DLC size = 256 * 256 * 3 -> 256 * 256 * 1"},
               {junk, 2, ""}};
  for (const auto& each : cases) {
    test::Handle handle(HUMANBODYSEG_EFFECT_MASK, each.path);
    Lines lines{"Enter pexoHumanBodySegInit!", "Camera direction = 0, effect mode = 3",
                each.path + " Runtime is not supported, use CPU mode!", each.size};
    if (each.status != 0) {  // and why: what the engine says when it is asked to open that file
      EXPECT_EQ(zdl::DlContainer::IDlContainer::open(each.path), nullptr);
      lines.back() = "zdl::SNPE::SNPEBuilder build failed.";
      lines.insert(lines.end(), {zdl::DlSystem::getLastErrorString(), "Fail to open snpe model!"});
      EXPECT_NE(lines[4], "");
    }
    lines.push_back("Exit pexoHumanBodySegInit!");
    EXPECT_EQ(LogLines([&] { EXPECT_EQ(handle.Init(), each.status); }), lines);
    test::TestImage frame(64, 48);
    EXPECT_EQ(handle.Process(frame), each.status);
  }
}

}  // namespace
}  // namespace pexo
