// SPDX-License-Identifier: Apache-2.0
// Containers: the ones that open and everything else, and the program that makes them.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zip.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "engine/bounds.h"
#include "engine/error.h"
#include "every_operator.h"
#include "session.h"

namespace pexo::test {
namespace {

using nlohmann::json;
using zdl::DlContainer::IDlContainer;

const std::vector<uint8_t> kModel = EveryOperatorModel();
const std::vector<uint8_t> kGood = Pack(kModel, engine::HeadKind::kLogitGrey);

// A byte that matters is noticed; the rest (dates, hints of the archive) changes nothing that is read.
TEST(Container, ACutOrAnAlteredByteIsNoticed) {
  ASSERT_NE(IDlContainer::open(kGood), nullptr) << LastError();
  size_t refused = 0;
  for (size_t at = 0; at < kGood.size(); ++at) {
    ASSERT_EQ(IDlContainer::open(kGood.data(), at), nullptr) << at << " bytes of " << kGood.size();
    std::vector<uint8_t> altered = kGood;
    altered[at] ^= at % 2 == 0 ? 0x80 : 0x01;
    try {
      ASSERT_EQ(engine::WriteContainer(engine::ReadContainer(altered)), kGood) << "byte " << at;
    } catch (const engine::Error&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, kGood.size() * 9 / 10);
}

class ContainerFile : public testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(folder); }
  void TearDown() override { std::filesystem::remove_all(folder); }

  // A failure must name the file.
  static bool Opens(const std::string& path) {
    const bool opened = IDlContainer::open(path) != nullptr;
    EXPECT_TRUE(opened || LastError().starts_with(path + ": ")) << LastError();
    return opened;
  }
  bool OpensPacked(const std::string& description, const std::string& model, const char* name = "model.tflite",
                   int method = ZIP_CM_DEFLATE) const {
    zip_t* archive = zip_open((folder / "packed").c_str(), ZIP_CREATE | ZIP_TRUNCATE, nullptr);
    for (const auto& [entry, content] : {std::pair("container.json", &description), std::pair(name, &model)}) {
      zip_file_add(archive, entry, zip_source_buffer(archive, content->data(), content->size(), 0), 0);
    }
    EXPECT_EQ(zip_set_file_compression(archive, 1, method, 0), 0);
    EXPECT_EQ(zip_close(archive), 0);
    return Opens(folder / "packed");
  }

  const std::filesystem::path folder = testing::TempDir() + "pexo_test_container." + std::to_string(getpid());
};

TEST_F(ContainerFile, OpensOnlyWithASoundDescriptionOfItsModel) {
  const std::string model(kModel.begin(), kModel.end()), text(kGood.begin(), kGood.end());
  const json good = json::parse(text.substr(text.find('{'), text.find("\n}\n") + 2 - text.find('{')));
  EXPECT_TRUE(OpensPacked(good.dump(), model));
  EXPECT_FALSE(OpensPacked(good.dump(), model, "a device's model"));
  EXPECT_FALSE(OpensPacked(good.dump(), model, "model.tflite", ZIP_CM_BZIP2));
  // A few kilobytes that stand for more than is ever read.
  EXPECT_FALSE(OpensPacked(good.dump(), std::string(engine::kMaxModelBytes + 1, 0)));
  EXPECT_FALSE(OpensPacked(good.dump() + std::string(engine::kMaxDescriptionBytes, ' '), model));
  EXPECT_FALSE(OpensPacked(std::string(60000, '['), model));
  const std::pair<const char*, json> changes[] = {
      {"", json::array()},     {"/format", "another"},    {"/version", 2},         {"/model/sha256", "00"},
      {"/input", 7},           {"/input/name", {}},       {"/input/scale", "1"},   {"/input/scale", 0},
      {"/input/scale", 1e300}, {"/input/offset", -1e300}, {"/output/range", -1},   {"/output/lowest", {}},
      {"/model", {}},          {"/model/sha256", 1},      {"/output/head", "one"}, {"/output", json::array()}};
  for (const auto& [pointer, value] : changes) {
    json changed = good;
    changed[json::json_pointer(pointer)] = value;
    EXPECT_FALSE(OpensPacked(changed.dump(), model)) << pointer << " = " << value;
  }
}

TEST_F(ContainerFile, IsARegularOne) {
  std::ofstream{folder / "empty"};
  mkfifo((folder / "pipe").c_str(), 0600);
  for (const char* name : {"empty", "pipe", "missing", "", "/dev/zero"}) EXPECT_FALSE(Opens(folder / name)) << name;
}

TEST_F(ContainerFile, IsMadeByPackDlc) {
  std::ofstream(folder / "junk") << "junk";
  for (const auto& [name, model] :
       {std::pair("good", kModel), std::pair("alike", EveryOperatorModel("person", "picture")),
        std::pair("nameless", EveryOperatorModel("person", "")),
        std::pair("nul", EveryOperatorModel("person", "per\\u0000son"))}) {
    std::ofstream(folder / name).write(reinterpret_cast<const char*>(model.data()), std::ssize(model));
  }
  const std::tuple<const char*, int, const char*> cases[] = {
      {"", 2, "see pack-dlc --help"},
      {"good out", 2, "--head"},
      {"--head two-scores good", 2, "output"},
      {"--head three-scores good out", 2, "three-scores"},
      {"--head two-scores missing out", 1, "pack-dlc: missing: "},
      {"--head two-scores junk out", 1, "pack-dlc: junk: "},
      {"--head two-scores alike out", 1, "both called \"picture\""},
      {"--head two-scores nameless out", 1, "has no name"},
      {"--head two-scores nul out", 1, "holds a NUL"},
      {"--head two-scores good no/such/folder", 1, "pack-dlc: no/such/folder: "},
      {"--head two-scores good .", 1, "pack-dlc: .: "},
      {"--help", 0, "two 8-bit scores"},
      {"--head two-scores good out", 0, ""},
      {"--head logit-grey good MoviePortraitSmall", 0, ""},
      {"--head logit-grey good out", 0, "pack-dlc: warning: out: "},
  };
  for (const auto& [words, status, text] : cases) {
    const std::string arguments = words;
    SCOPED_TRACE(arguments);
    FILE* pipe = popen(("cd " + folder.string() + " && '" PACK_DLC "' " + arguments + " 2>&1").c_str(), "r");
    std::string output(4096, 0);
    output.resize(std::fread(output.data(), 1, output.size(), pipe));
    EXPECT_EQ(WEXITSTATUS(pclose(pipe)), status);
    EXPECT_TRUE(*text == 0 ? output.empty() : output.find(text) != std::string::npos) << output;
    EXPECT_TRUE(status == 0 || output.find('\n') == output.size() - 1) << "one line: " << output;
    if (status != 0 || arguments == "--help") continue;
    const std::filesystem::path out = folder / arguments.substr(arguments.rfind(' ') + 1);
    const engine::HeadKind head = engine::HeadFromName(arguments.substr(7, 10));
    EXPECT_EQ(engine::ReadFile(out, engine::kMaxContainerBytes), Pack(kModel, head));
    std::filesystem::remove(out);
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 5) << "something of the writing is left";
}

}  // namespace
}  // namespace pexo::test
