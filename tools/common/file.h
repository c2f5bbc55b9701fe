// SPDX-License-Identifier: Apache-2.0
// Whole files, and files that appear under their name only when they are whole.
#ifndef PEXO_TOOLS_COMMON_FILE_H_
#define PEXO_TOOLS_COMMON_FILE_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace pexo::tools {

// The bytes of a file or a pipe. Throws Failure when there are more than `limit`, or it cannot be read.
std::vector<uint8_t> ReadFile(const std::string& path, std::size_t limit);

// A new file beside the one it is to become. Until PutInPlace a file of the final name stays as it is; without it the
// new one is removed again. A symbolic link is followed, and the file that it names is replaced. Everything throws
// Failure.
class ReplacementFile {
 public:
  explicit ReplacementFile(const std::string& path);
  ~ReplacementFile();
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;

  // What it is called until then, for those who write it by name.
  const std::string& name() const { return name_; }

  void Write(std::span<const uint8_t> bytes);
  void PutInPlace();

 private:
  [[noreturn]] void Fail() const;

  std::string path_;    // as the user knows it
  std::string target_;  // no link
  std::string name_;    // empty when there is nothing to remove
  int descriptor_ = -1;
};

// Replaces a file by these bytes, or throws Failure and leaves it as it was.
void ReplaceFile(const std::string& path, std::span<const uint8_t> bytes);

}  // namespace pexo::tools

#endif  // PEXO_TOOLS_COMMON_FILE_H_
