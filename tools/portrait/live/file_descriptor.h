// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_FILE_DESCRIPTOR_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_FILE_DESCRIPTOR_H_

#include <unistd.h>

#include <utility>

namespace pexo::live {

class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  int get() const { return descriptor_; }
  bool is_open() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_FILE_DESCRIPTOR_H_
