// Containers: the ones that open, and everything else.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zip.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "engine/bounds.h"
#include "engine/container.h"
#include "engine/error.h"
#include "model_writer.h"
#include "session.h"

namespace pexo::test {
namespace {

using nlohmann::json;
using zdl::DlContainer::IDlContainer;
using Bytes = std::vector<uint8_t>;

Bytes BytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

struct Entry {
  std::string name;
  Bytes content;
};

// An archive of any entries, compressed.
Bytes Zip(const std::vector<Entry>& entries) {
  zip_source_t* source = zip_source_buffer_create(nullptr, 0, 0, nullptr);
  zip_source_keep(source);
  zip_t* archive = zip_open_from_source(source, ZIP_TRUNCATE, nullptr);
  for (const Entry& entry : entries) {
    zip_file_add(archive, entry.name.c_str(), zip_source_buffer(archive, entry.content.data(), entry.content.size(), 0),
                 0);
  }
  EXPECT_EQ(zip_close(archive), 0);
  zip_stat_t stat;
  zip_source_stat(source, &stat);
  Bytes bytes(stat.size);
  zip_source_open(source);
  zip_source_read(source, bytes.data(), bytes.size());
  zip_source_close(source);
  zip_source_free(source);
  return bytes;
}

engine::Container GoodContainer() {
  return PackedModel(EveryOperatorModel(4, 4).Bytes(), engine::HeadKind::kLogitGrey);
}

// The description in a container that the engine itself has written.
json DescriptionOf(const Bytes& container) {
  const std::string text(container.begin(), container.end());
  const size_t start = text.find('{');
  return json::parse(text.substr(start, text.find("\n}\n") + 2 - start));
}

void ExpectRefused(const Bytes& bytes, const std::string& what) {
  EXPECT_EQ(IDlContainer::open(bytes), nullptr) << what;
  EXPECT_STRNE(zdl::DlSystem::getLastErrorString(), "") << what;
}

TEST(Container, KeepsItsContent) {
  const engine::Container written = GoodContainer();
  const Bytes bytes = engine::WriteContainer(written);
  EXPECT_EQ(bytes, engine::WriteContainer(written)) << "equal contents give equal bytes";
  const engine::Container read = engine::ReadContainer(bytes);
  EXPECT_EQ(read.input_name, written.input_name);
  EXPECT_EQ(read.output_name, written.output_name);
  EXPECT_EQ(read.transform.scale, written.transform.scale);
  EXPECT_EQ(read.transform.offset, written.transform.offset);
  EXPECT_EQ(read.head.kind, written.head.kind);
  EXPECT_EQ(read.head.lowest, written.head.lowest);
  EXPECT_EQ(read.head.range, written.head.range);
  EXPECT_EQ(read.model, written.model);
  EXPECT_NE(IDlContainer::open(bytes.data(), bytes.size()), nullptr);
  EXPECT_EQ(IDlContainer::open(nullptr, 10), nullptr);
}

TEST(Container, TruncatedAnywhereIsRefused) {
  const Bytes bytes = engine::WriteContainer(GoodContainer());
  for (size_t size = 0; size < bytes.size(); ++size) {
    ASSERT_EQ(IDlContainer::open(bytes.data(), size), nullptr) << size << " bytes of " << bytes.size();
  }
}

// A byte that matters is noticed; the rest (dates, hints of the archive) changes nothing that is read.
TEST(Container, AnAlteredByteIsRefusedOrHarmless) {
  const engine::Container written = GoodContainer();
  const Bytes bytes = engine::WriteContainer(written);
  size_t refused = 0;
  for (size_t at = 0; at < bytes.size(); ++at) {
    for (const uint8_t flip : {0x01, 0x80, 0xFF}) {
      Bytes altered = bytes;
      altered[at] ^= flip;
      try {
        const engine::Container read = engine::ReadContainer(altered);
        ASSERT_EQ(read.model, written.model) << "byte " << at;
        ASSERT_EQ(read.transform.scale, written.transform.scale) << "byte " << at;
        ASSERT_EQ(read.head.range, written.head.range) << "byte " << at;
      } catch (const engine::Error&) {
        ++refused;
      }
    }
  }
  EXPECT_GT(refused, 3 * written.model.size());
}

TEST(Container, OtherArchivesAreRefused) {
  const engine::Container good = GoodContainer();
  const Bytes description = BytesOf(DescriptionOf(engine::WriteContainer(good)).dump());
  EXPECT_NE(IDlContainer::open(Zip({{"container.json", description}, {"model.tflite", good.model}})), nullptr);
  ExpectRefused({}, "nothing");
  ExpectRefused(BytesOf("a text"), "no archive");
  ExpectRefused(good.model, "the model alone");
  ExpectRefused(Zip({{"model", good.model}, {"metadata", BytesOf("a device's container")}}), "other entries");
  ExpectRefused(Zip({{"container.json", description}}), "no model");
  ExpectRefused(Zip({{"model.tflite", good.model}}), "no description");
  ExpectRefused(Zip({{"container.json", description}, {"model.tflite", {}}}), "an empty model");
  ExpectRefused(Zip({{"container.json", description}, {"model.tflite", BytesOf("another model")}}), "another model");
  // A few kilobytes that stand for more than is ever read.
  ExpectRefused(Zip({{"container.json", Bytes(engine::kMaxDescriptionBytes + 1, ' ')}, {"model.tflite", good.model}}),
                "a huge description");
  ExpectRefused(Zip({{"container.json", description}, {"model.tflite", Bytes(engine::kMaxModelBytes + 1)}}),
                "a huge model");
}

TEST(Container, DescriptionsThatAreRefused) {
  const engine::Container good = GoodContainer();
  const json description = DescriptionOf(engine::WriteContainer(good));
  const auto open = [&](const std::string& text) {
    return IDlContainer::open(Zip({{"container.json", BytesOf(text)}, {"model.tflite", good.model}}));
  };
  ASSERT_NE(open(description.dump()), nullptr);
  const struct {
    const char* pointer;
    json value;
  } cases[] = {{"/format", "another"},
               {"/version", 2},
               {"/version", "1"},
               {"/input", 7},
               {"/input/name", json()},
               {"/input/scale", "1"},
               {"/input/scale", 0},
               {"/input/scale", -1},
               {"/input/scale", 1e300},
               {"/input/offset", json()},
               {"/input/offset", -1e300},
               {"/output/head", "three-scores"},
               {"/output/range", 0},
               {"/output/range", json()},
               {"/output/lowest", "low"},
               {"/output", json::array()},
               {"/model/sha256", "00"},
               {"/model/sha256", 1},
               {"/model", json()},
               {"", json::array()},
               {"", "text"}};
  for (const auto& test : cases) {
    json changed = description;
    changed[json::json_pointer(test.pointer)] = test.value;
    EXPECT_EQ(open(changed.dump()), nullptr) << test.pointer << " = " << test.value;
  }
  for (const auto& [key, value] : description.items()) {
    json without = description;
    without.erase(key);
    EXPECT_EQ(open(without.dump()), nullptr) << "without " << key;
  }
  for (const std::string& text : {std::string(), std::string("{"), std::string("\xFF\xFE"), std::string(60000, '[')}) {
    EXPECT_EQ(open(text), nullptr);
  }
}

// The names and the head must fit the model: noticed when the network is built.
TEST(Container, DescriptionsThatDoNotFitTheModel) {
  const auto builds = [](const engine::Container& container) {
    const auto opened = IDlContainer::open(engine::WriteContainer(container));
    EXPECT_NE(opened, nullptr);
    return BuildNetwork(opened.get()) != nullptr;
  };
  engine::Container container = GoodContainer();
  EXPECT_TRUE(builds(container));
  container.input_name = "person";
  EXPECT_FALSE(builds(container));
  container = GoodContainer();
  container.output_name = "";
  EXPECT_FALSE(builds(container));

  ModelWriter no_logistic = EveryOperatorModel();
  tflite::SubGraphT& graph = *no_logistic.model.subgraphs[0];
  graph.operators.pop_back();
  graph.outputs = graph.operators.back()->outputs;
  graph.tensors[static_cast<size_t>(graph.outputs[0])]->name = "person";
  EXPECT_TRUE(builds(PackedModel(no_logistic.Bytes(), engine::HeadKind::kTwoScores)));
  EXPECT_FALSE(builds(PackedModel(no_logistic.Bytes(), engine::HeadKind::kLogitGrey)));
}

TEST(Container, Files) {
  const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "pexo_test_container";
  std::filesystem::create_directories(folder);
  const std::string good = folder / "good.dlc", empty = folder / "empty.dlc", pipe = folder / "pipe.dlc";
  const Bytes bytes = engine::WriteContainer(GoodContainer());
  std::ofstream(good, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  std::ofstream{empty};
  mkfifo(pipe.c_str(), 0600);
  EXPECT_NE(IDlContainer::open(good), nullptr);
  EXPECT_NE(IDlContainer::open(zdl::DlSystem::String(good)), nullptr);
  for (const std::string& path :
       {empty, pipe, folder.string(), std::string("/dev/zero"), std::string(), (folder / "missing.dlc").string()}) {
    EXPECT_EQ(IDlContainer::open(path), nullptr) << path;
    EXPECT_NE(std::string(zdl::DlSystem::getLastErrorString()).find(path), std::string::npos) << path;
  }
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace pexo::test
