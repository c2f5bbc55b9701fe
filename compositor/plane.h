// SPDX-License-Identifier: Apache-2.0
// Working memory that is kept from frame to frame.
#ifndef PEXO_COMPOSITOR_PLANE_H_
#define PEXO_COMPOSITOR_PLANE_H_

#include <hwy/aligned_allocator.h>

#include <algorithm>
#include <cstddef>
#include <new>

namespace pexo::compositor {

// Row kernels work on whole vectors: they read and write a row up to the next multiple of this many elements.
inline constexpr int kRowPadding = 64;

inline constexpr int PaddedWidth(int width) {
  return (width + kRowPadding - 1) / kRowPadding * kRowPadding;
}

// Rows of T from aligned places, `kRowPadding` readable and writable elements in front of each and its width padded
// behind. Zero when made and wherever nothing was written.
template <typename T>
class Plane {
 public:
  Plane() = default;
  Plane(int width, int height) { Resize(width, height); }

  // Keeps the content when the size stays; otherwise everything is zero. Throws std::bad_alloc.
  void Resize(int width, int height) {
    if (width == width_ && height == height_) return;
    stride_ = PaddedWidth(width) + kRowPadding;
    const size_t count = static_cast<size_t>(stride_) * static_cast<size_t>(height) + 2 * kRowPadding;
    if (count > capacity_) {
      width_ = height_ = 0;
      memory_ = hwy::AllocateAligned<T>(count);
      capacity_ = memory_ == nullptr ? 0 : count;
      if (memory_ == nullptr) throw std::bad_alloc();
    }
    std::fill_n(memory_.get(), count, T{});
    width_ = width;
    height_ = height;
  }

  int width() const { return width_; }
  int height() const { return height_; }
  ptrdiff_t stride() const { return stride_; }  // in elements
  bool empty() const { return width_ == 0; }

  T* Row(int y) { return memory_.get() + kRowPadding + y * stride_; }
  const T* Row(int y) const { return memory_.get() + kRowPadding + y * stride_; }

 private:
  hwy::AlignedFreeUniquePtr<T[]> memory_;
  size_t capacity_ = 0;
  ptrdiff_t stride_ = 0;
  int width_ = 0;
  int height_ = 0;
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_PLANE_H_
