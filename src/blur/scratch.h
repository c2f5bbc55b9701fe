// SPDX-License-Identifier: Apache-2.0
// The working memory of one composite or filter.
#ifndef PEXO_BLUR_SCRATCH_H_
#define PEXO_BLUR_SCRATCH_H_

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "blur/image_buffer.h"

namespace pexo {

// One owned block for all planes and row rings of a call. (One, because several of some megabytes make the allocator
// hand pages back to the system on every call.)
class Scratch {
 public:
  Scratch() { ImageBufferReset(&block_); }
  ~Scratch() { ImageBufferRelease(&block_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  // `bytes` bytes from a 64-byte boundary; they hold anything. Before Allocate() they are only counted and their place
  // is null; afterwards no more can be taken than was counted.
  uint8_t* Take(size_t bytes) {
    const size_t start = taken_;
    taken_ += (bytes + 63) & ~size_t{63};
    if (block_.data == nullptr) return nullptr;
    assert(taken_ <= block_.cols);
    return block_.data + start;
  }
  ImageBuffer TakePlane(int rows, int cols) {
    ImageBuffer plane;
    ImageBufferWrap(&plane, static_cast<uint32_t>(rows), static_cast<uint32_t>(cols), kImageBufferU8,
                    Take(static_cast<size_t>(rows) * static_cast<size_t>(cols)));
    return plane;
  }

  [[nodiscard]] bool Allocate() {
    if (taken_ > INT32_MAX) return false;
    ImageBufferCreate(&block_, 1, static_cast<uint32_t>(taken_), kImageBufferU8);
    taken_ = 0;
    return block_.data != nullptr;
  }

 private:
  ImageBuffer block_;
  size_t taken_ = 0;
};

// A `Stages` in a scratch of its own, or nothing when there is no memory. Its constructor, Stages(Scratch&, arguments),
// runs twice: first to count, then with the memory. So it takes what it needs from the scratch and touches none of it.
template <typename Stages>
class InScratch {
 public:
  template <typename... Arguments>
  explicit InScratch(Arguments&&... arguments) {
    { const Stages counted(scratch_, arguments...); }
    if (scratch_.Allocate()) stages_.emplace(scratch_, arguments...);
  }

  explicit operator bool() const { return stages_.has_value(); }
  Stages& operator*() { return *stages_; }
  Stages* operator->() { return &*stages_; }

 private:
  Scratch scratch_;
  std::optional<Stages> stages_;
};

}  // namespace pexo

#endif  // PEXO_BLUR_SCRATCH_H_
