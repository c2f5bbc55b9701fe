// The program pack-dlc, and the containers that it made of the pinned network.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "engine/bounds.h"
#include "model_writer.h"
#include "session.h"

namespace pexo::test {
namespace {

struct Outcome {
  int status;
  std::string text;  // both streams
};

Outcome RunPackDlc(const std::string& arguments) {
  FILE* pipe = popen((PACK_DLC " " + arguments + " 2>&1").c_str(), "r");
  Outcome outcome{};
  std::array<char, 256> chunk;
  while (std::fgets(chunk.data(), chunk.size(), pipe) != nullptr) outcome.text += chunk.data();
  const int status = pclose(pipe);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}

class PackDlc : public testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(folder_); }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name) const { return folder_ / name; }
  std::string Write(const std::string& name, const std::vector<uint8_t>& bytes) const {
    std::ofstream(Path(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return Path(name);
  }

 private:
  std::filesystem::path folder_ = std::filesystem::path(testing::TempDir()) / "pexo_test_pack_dlc";
};

TEST_F(PackDlc, PacksWhatTheEngineOpens) {
  const std::string model = Write("model.tflite", EveryOperatorModel().Bytes());
  for (const engine::HeadKind head : {engine::HeadKind::kTwoScores, engine::HeadKind::kLogitGrey}) {
    const std::string packed = Path("packed.dlc");
    const Outcome outcome = RunPackDlc(std::string("--head ") + engine::HeadName(head) + " " + model + " " + packed);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.text, "");
    const auto expected = engine::WriteContainer(PackedModel(EveryOperatorModel().Bytes(), head));
    const auto written = engine::ReadFile(packed, engine::kMaxContainerBytes);
    EXPECT_EQ(written, expected);
    EXPECT_NE(BuildNetwork(zdl::DlContainer::IDlContainer::open(packed).get()), nullptr);
  }
  // Nothing of the writing is left beside the two files.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(std::filesystem::path(model).parent_path()), {}), 2);
}

TEST_F(PackDlc, SaysWhatIsWrong) {
  const std::string model = Write("model.tflite", EveryOperatorModel().Bytes());
  const std::string junk = Write("junk.tflite", {1, 2, 3});
  ModelWriter unknown = EveryOperatorModel();
  unknown.model.operator_codes.back()->builtin_code = static_cast<tflite::BuiltinOperator>(99);
  const std::string odd = Write("odd.tflite", unknown.Bytes());
  const std::string out = Path("out.dlc");
  const struct {
    std::string arguments;
    int status;
    std::string text;  // part of the message
  } cases[] = {
      {"", 2, "usage:"},
      {"--head two-scores " + model, 2, "usage:"},
      {"--head three-scores " + model + " " + out, 2, "usage:"},
      {"--quick " + model + " " + out, 2, "usage:"},
      {model + " " + out, 2, "usage:"},
      {"--head two-scores " + model + " " + out + " " + out, 2, "usage:"},
      {"--head two-scores " + Path("missing.tflite") + " " + out, 1, "missing.tflite: "},
      {"--head two-scores " + junk + " " + out, 1, "junk.tflite: "},
      {"--head two-scores " + odd + " " + out, 1, "99"},
      {"--head two-scores " + model + " " + Path("no/such/folder.dlc"), 1, "folder.dlc: "},
      {"--head two-scores " + model + " " + Path(""), 1, Path("")},
      {"--help", 0, "two 8-bit scores"},
  };
  for (const auto& test : cases) {
    const Outcome outcome = RunPackDlc(test.arguments);
    EXPECT_EQ(outcome.status, test.status) << test.arguments;
    EXPECT_NE(outcome.text.find(test.text), std::string::npos) << test.arguments << "\n" << outcome.text;
    const auto lines = std::count(outcome.text.begin(), outcome.text.end(), '\n');
    EXPECT_TRUE(test.status == 0 || lines == 1) << outcome.text;
    EXPECT_FALSE(std::filesystem::exists(out)) << test.arguments;
  }
}

std::unique_ptr<zdl::SNPE::SNPE> BuildPacked(const char* name) {
  const auto container = zdl::DlContainer::IDlContainer::open(std::string(PEXO_MODELS_DIR "/") + name);
  return container != nullptr ? BuildNetwork(container.get()) : nullptr;
}

// The two containers hold one network: a grey level of the small one is the logit of a score of the big one.
TEST(PackedModels, BigAndSmallAgree) {
  auto big_network = BuildPacked("MoviePortraitBig.dlc");
  auto small_network = BuildPacked("MoviePortraitSmall.dlc");
  ASSERT_NE(big_network, nullptr) << "scripts/pack-models makes it: " << zdl::DlSystem::getLastErrorString();
  ASSERT_NE(small_network, nullptr) << "scripts/pack-models makes it: " << zdl::DlSystem::getLastErrorString();
  Session big(std::move(big_network));
  Session small(std::move(small_network));
  constexpr size_t kPixels = 256 * 256;
  ASSERT_EQ(big.input.bytes.size(), kPixels * 3);
  ASSERT_EQ(big.output.bytes.size(), kPixels * 2);
  ASSERT_EQ(small.output.bytes.size(), kPixels);

  // Something like a head and shoulders before a plain wall, so that all scores occur.
  for (int y = 0; y < 256; ++y) {
    for (int x = 0; x < 256; ++x) {
      const bool head = std::hypot(x - 128, (y - 90) * 0.8) < 40;
      const bool body = std::hypot((x - 128) * 0.9, y - 250) < 110;
      const uint8_t skin[] = {224, 172, 145}, coat[] = {40, 50, 90}, wall[] = {180, 190, 185};
      const uint8_t* color = head ? skin : body ? coat : wall;
      std::copy(color, color + 3, big.input.bytes.begin() + (y * 256 + x) * 3);
    }
  }
  small.input.bytes = big.input.bytes;
  ASSERT_TRUE(big.Execute());
  ASSERT_TRUE(small.Execute());

  size_t soft = 0;
  for (size_t i = 0; i < kPixels; ++i) {
    const int background = big.output.bytes[2 * i];
    const int foreground = big.output.bytes[2 * i + 1];
    ASSERT_TRUE(background + foreground == 255 || background + foreground == 256) << i;
    // Half a level of rounding at either side.
    const int level = small.output.bytes[i];
    const auto score = [&](double at) { return 255.0 / (1.0 + std::exp(20.01 - at * 49.06 / 255.0)); };
    ASSERT_TRUE(level == 0 || foreground >= score(level - 0.501) - 0.501) << i;
    ASSERT_TRUE(level == 255 || foreground <= score(level + 0.501) + 0.501) << i;
    soft += foreground > 0 && foreground < 255;
  }
  EXPECT_GT(soft, 100u) << "the picture shows the network nothing to be unsure of";
}

}  // namespace
}  // namespace pexo::test
