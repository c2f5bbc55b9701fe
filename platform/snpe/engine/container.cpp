// SPDX-License-Identifier: Apache-2.0
#include "engine/container.h"

#include <nettle/sha2.h>
#include <zip.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "engine/bounds.h"
#include "engine/error.h"

namespace pexo::engine {
namespace {

using nlohmann::json;

constexpr char kFormat[] = "pexo-host-container";
constexpr int kFormatVersion = 1;
constexpr char kModelEntry[] = "model.tflite";
constexpr char kDescriptionEntry[] = "container.json";

std::string Sha256(std::span<const uint8_t> bytes) {
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, bytes.size(), bytes.data());
  uint8_t digest[SHA256_DIGEST_SIZE];
  sha256_digest(&context, sizeof(digest), digest);
  std::string text;
  for (const uint8_t byte : digest) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02x", byte);
    text += digits;
  }
  return text;
}

class ZipError {
 public:
  ZipError() { zip_error_init(&error_); }
  ~ZipError() { zip_error_fini(&error_); }
  ZipError(const ZipError&) = delete;
  ZipError& operator=(const ZipError&) = delete;

  operator zip_error_t*() { return &error_; }
  std::string Text() { return zip_error_strerror(&error_); }

 private:
  zip_error_t error_;
};

using Archive = std::unique_ptr<zip_t, decltype(&zip_discard)>;  // dropped without being written
using Entry = std::unique_ptr<zip_file_t, decltype(&zip_fclose)>;
using Source = std::unique_ptr<zip_source_t, decltype(&zip_source_free)>;

// An archive over memory that outlives it.
Archive OpenArchive(std::span<const uint8_t> bytes) {
  ZipError error;
  Source source(zip_source_buffer_create(bytes.data(), bytes.size(), 0, error), &zip_source_free);
  Require(source != nullptr, "no memory for the archive: ", error.Text());
  Archive archive(zip_open_from_source(source.get(), ZIP_RDONLY | ZIP_CHECKCONS, error), &zip_discard);
  Require(archive != nullptr, "not a container of this engine, or a damaged one: ", error.Text());
  static_cast<void>(source.release());  // the archive owns it now
  return archive;
}

// Reads an entry to its end, where its checksum is compared.
std::vector<uint8_t> ReadEntry(zip_t* archive, const char* name, size_t limit) {
  zip_stat_t stat;
  zip_stat_init(&stat);
  Require(zip_stat(archive, name, ZIP_FL_ENC_GUESS, &stat) == 0, "the container has no ", name);
  Require((stat.valid & ZIP_STAT_SIZE) != 0 && stat.size <= limit, name, " in the container is too large");
  // The other methods of compression may want any amount of memory to unpack.
  Require((stat.valid & ZIP_STAT_COMP_METHOD) != 0 &&
              (stat.comp_method == ZIP_CM_STORE || stat.comp_method == ZIP_CM_DEFLATE),
          name, " in the container is neither stored nor deflated");
  const Entry entry(zip_fopen_index(archive, stat.index, 0), &zip_fclose);
  Require(entry != nullptr, name, " in the container cannot be read: ", std::string(zip_strerror(archive)));

  std::vector<uint8_t> content(stat.size);
  size_t done = 0;
  while (done < content.size()) {
    const zip_int64_t count = zip_fread(entry.get(), content.data() + done, content.size() - done);
    Require(count > 0, name, " in the container is damaged");
    done += static_cast<size_t>(count);
  }
  uint8_t more;
  Require(zip_fread(entry.get(), &more, 1) == 0, name, " in the container is damaged");
  return content;
}

double ReadNumber(const json& object, const char* key) {
  const double number = object.at(key).get<double>();
  Require(std::abs(number) <= 1e6, "container.json: \"", key, "\" is out of range");  // false for a NaN as well
  return number;
}

// Positive, and far enough from 0 to divide by.
double ReadFactor(const json& object, const char* key) {
  const double number = ReadNumber(object, key);
  Require(number >= 1e-6, "container.json: \"", key, "\" is not positive");
  return number;
}

// Fills everything of the container but the model; returns the sum that the model should have.
std::string ReadDescription(std::span<const uint8_t> text, Container& container) {
  try {
    const json description = json::parse(text.begin(), text.end());
    Require(description.at("format") == kFormat, "container.json describes another format");
    Require(description.at("version") == kFormatVersion, "container.json has another version than 1");
    const json& input = description.at("input");
    container.input_name = input.at("name").get<std::string>();
    container.transform = {.scale = ReadFactor(input, "scale"), .offset = ReadNumber(input, "offset")};
    const json& output = description.at("output");
    container.output_name = output.at("name").get<std::string>();
    container.head.kind = HeadFromName(output.at("head").get<std::string>());
    if (container.head.kind == HeadKind::kLogitGrey) {
      container.head.lowest = ReadNumber(output, "lowest");
      container.head.range = ReadFactor(output, "range");
    }
    return description.at("model").at("sha256").get<std::string>();
  } catch (const json::exception& error) {
    Fail("container.json: ", std::string(error.what()));
  }
}

std::string WriteDescription(const Container& container) {
  json output = {{"name", container.output_name}, {"head", HeadName(container.head.kind)}};
  if (container.head.kind == HeadKind::kLogitGrey) {
    output["lowest"] = container.head.lowest;
    output["range"] = container.head.range;
  }
  const json description = {
      {"format", kFormat},
      {"version", kFormatVersion},
      {"model", {{"file", kModelEntry}, {"sha256", Sha256(container.model)}}},
      {"input",
       {{"name", container.input_name}, {"scale", container.transform.scale}, {"offset", container.transform.offset}}},
      {"output", output},
  };
  return description.dump(2) + "\n";
}

// Adds an entry over memory that outlives the archive: uncompressed, and dated alike in every container.
void AddEntry(zip_t* archive, const char* name, std::span<const uint8_t> content) {
  Source source(zip_source_buffer(archive, content.data(), content.size(), 0), &zip_source_free);
  Require(source != nullptr, "no memory for ", name);
  const zip_int64_t index = zip_file_add(archive, name, source.get(), ZIP_FL_ENC_UTF_8);
  Require(index >= 0, "cannot add ", name, ": ", std::string(zip_strerror(archive)));
  static_cast<void>(source.release());  // the archive owns it now
  constexpr zip_uint16_t kNoTime = 0;
  constexpr zip_uint16_t kFirstDay = 1 << 5 | 1;  // 1 January 1980, where ZIP's calendar begins
  Require(zip_set_file_compression(archive, static_cast<zip_uint64_t>(index), ZIP_CM_STORE, 0) == 0 &&
              zip_file_set_dostime(archive, static_cast<zip_uint64_t>(index), kNoTime, kFirstDay, 0) == 0,
          "cannot set up ", name, ": ", std::string(zip_strerror(archive)));
}

// What an archive's source has grown to.
std::vector<uint8_t> TakeBytes(zip_source_t* source) {
  zip_stat_t stat;
  Require(zip_source_stat(source, &stat) == 0 && (stat.valid & ZIP_STAT_SIZE) != 0 && zip_source_open(source) == 0,
          "cannot read the container back");
  std::vector<uint8_t> bytes(stat.size);
  const zip_int64_t count = zip_source_read(source, bytes.data(), bytes.size());
  zip_source_close(source);
  Require(std::cmp_equal(count, bytes.size()), "cannot read the container back");
  return bytes;
}

}  // namespace

Container ReadContainer(std::span<const uint8_t> bytes) {
  Require(!bytes.empty(), "the container is empty");
  Require(bytes.size() <= kMaxContainerBytes, "the container is too large");
  const Archive archive = OpenArchive(bytes);
  Container container;
  const std::vector<uint8_t> description = ReadEntry(archive.get(), kDescriptionEntry, kMaxDescriptionBytes);
  const std::string sum = ReadDescription(description, container);
  container.model = ReadEntry(archive.get(), kModelEntry, kMaxModelBytes);
  Require(Sha256(container.model) == sum, "the model in the container is not the one that was packed");
  return container;
}

std::vector<uint8_t> WriteContainer(const Container& container) {
  const std::string description = WriteDescription(container);
  Require(description.size() <= kMaxDescriptionBytes, "the names of the model's input and output are too long");
  ZipError error;
  const Source source(zip_source_buffer_create(nullptr, 0, 0, error), &zip_source_free);
  Require(source != nullptr, "no memory for the archive: ", error.Text());
  Archive archive(zip_open_from_source(source.get(), ZIP_TRUNCATE, error), &zip_discard);
  Require(archive != nullptr, "cannot make an archive: ", error.Text());
  zip_source_keep(source.get());  // for the archive; ours is read below

  AddEntry(archive.get(), kDescriptionEntry,
           {reinterpret_cast<const uint8_t*>(description.data()), description.size()});
  AddEntry(archive.get(), kModelEntry, container.model);
  Require(zip_close(archive.get()) == 0, "cannot write the archive: ", std::string(zip_strerror(archive.get())));
  static_cast<void>(archive.release());  // gone with the successful close
  return TakeBytes(source.get());
}

std::vector<uint8_t> ReadFile(const std::string& path, size_t limit) {
  std::error_code status;
  // Asked before opening: a named pipe would wait for a writer.
  Require(std::filesystem::exists(path, status), "no such file");
  Require(std::filesystem::is_regular_file(path, status), "not a regular file");
  const std::unique_ptr<FILE, decltype(&std::fclose)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  Require(file != nullptr, "the file cannot be opened");
  const uintmax_t size = std::filesystem::file_size(path, status);
  Require(!status && size <= limit, "the file is too large");
  std::vector<uint8_t> bytes(size);
  Require(std::fread(bytes.data(), 1, bytes.size(), file.get()) == bytes.size(), "the file cannot be read");
  return bytes;
}

}  // namespace pexo::engine
