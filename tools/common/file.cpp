// SPDX-License-Identifier: Apache-2.0
#include "common/file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/failure.h"

namespace pexo::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBlock = std::size_t{1} << 20;

// Closes a descriptor whose closing cannot fail in a way that matters.
struct ReadDescriptor {
  int value;
  ~ReadDescriptor() {
    if (value >= 0) ::close(value);
  }
};

}  // namespace

std::vector<uint8_t> ReadFile(const std::string& path, std::size_t limit) {
  const auto fail = [&path](int reason) { throw Failure(path + ": cannot be read: " + std::strerror(reason)); };
  const ReadDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
  struct stat status;
  if (file.value < 0 || ::fstat(file.value, &status) != 0) fail(errno);
  std::vector<uint8_t> bytes;
  std::size_t size = 0;
  if (S_ISREG(status.st_mode)) {
    if (static_cast<uint64_t>(status.st_size) > limit) fail(EFBIG);
    bytes.resize(static_cast<std::size_t>(status.st_size) + 1);  // one more, to meet the end in it
  }
  // The size is a guess: a pipe has none, and a file may grow meanwhile.
  for (;;) {
    if (size == bytes.size()) bytes.resize(size + kBlock);
    const ssize_t count = ::read(file.value, bytes.data() + size, bytes.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(errno);
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
    if (size > limit) fail(EFBIG);
  }
  bytes.resize(size);
  return bytes;
}

ReplacementFile::ReplacementFile(const std::string& path) : path_(path) {
  try {
    const fs::path target = fs::weakly_canonical(path);
    if (fs::exists(target) && !fs::is_regular_file(target)) throw Failure(path + ": exists and is not a file");
    target_ = target.string();
    const std::string beside = (target.parent_path() / (".part-" + std::to_string(::getpid()) + "-")).string();
    for (int number = 0; descriptor_ < 0; ++number) {
      name_ = beside + std::to_string(number);
      descriptor_ = ::open(name_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (descriptor_ < 0 && errno != EEXIST) Fail();
    }
  } catch (const fs::filesystem_error& error) {
    errno = error.code().value();
    Fail();
  }
}

ReplacementFile::~ReplacementFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (!name_.empty()) ::unlink(name_.c_str());
}

void ReplacementFile::Write(std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) Fail();
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

void ReplacementFile::PutInPlace() {
  if (::close(std::exchange(descriptor_, -1)) != 0) Fail();
  if (std::rename(name_.c_str(), target_.c_str()) != 0) Fail();
  name_.clear();
}

void ReplacementFile::Fail() const {
  throw Failure(path_ + ": cannot be written: " + std::strerror(errno));
}

void ReplaceFile(const std::string& path, std::span<const uint8_t> bytes) {
  ReplacementFile file(path);
  file.Write(bytes);
  file.PutInPlace();
}

}  // namespace pexo::tools
