// SPDX-License-Identifier: Apache-2.0
#include "blur/image_buffer.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace pexo {
namespace {

constexpr uintptr_t kAlignment = 64;
// Room to reach the next boundary and to keep the block's own pointer in front of it.
constexpr size_t kSlack = kAlignment - 1 + sizeof(void*);

struct PixelLayout {
  uint32_t elem_size;
  uint32_t channels;
};

bool LayoutOf(int32_t type, PixelLayout& layout) {
  switch (type) {
    case kImageBufferU8:
      layout = {1, 1};
      return true;
    case kImageBufferU16:
    case kImageBufferS16:
      layout = {2, 1};
      return true;
    case kImageBuffer32:
      layout = {4, 1};
      return true;
    case kImageBufferU8x3:
      layout = {1, 3};
      return true;
    default:
      return false;
  }
}

uint8_t* AllocateAligned(size_t bytes) {
  void* raw = std::malloc(bytes + kSlack);
  if (raw == nullptr) return nullptr;
  uint8_t* end_of_slack = static_cast<uint8_t*>(raw) + kSlack;
  uint8_t* data = end_of_slack - (reinterpret_cast<uintptr_t>(end_of_slack) & (kAlignment - 1));
  std::memcpy(data - sizeof raw, &raw, sizeof raw);
  return data;
}

}  // namespace

void ImageBufferReset(ImageBuffer* buffer) {
  buffer->data = nullptr;
}

void ImageBufferCreate(ImageBuffer* buffer, uint32_t rows, uint32_t cols, int32_t type) {
  buffer->rows = rows;
  buffer->cols = cols;
  buffer->step = cols;
  buffer->elem_size = 1;
  PixelLayout layout;
  if (!LayoutOf(type, layout)) return;
  buffer->elem_size = layout.elem_size;
  buffer->channels = layout.channels;
  // A 32-bit signed product; one that overflows into the negative asks for more memory than there is.
  const auto bytes = static_cast<int32_t>(rows * cols * layout.elem_size * layout.channels);
  buffer->data = bytes < 0 ? nullptr : AllocateAligned(static_cast<size_t>(bytes));
  buffer->step = cols * layout.channels * layout.elem_size;
  buffer->owns_data = 1;
  buffer->type = type;
}

void ImageBufferWrap(ImageBuffer* buffer, uint32_t rows, uint32_t cols, int32_t type, uint8_t* external) {
  PixelLayout layout;
  if (type == kImageBufferS16) {
    buffer->elem_size = 2;
  } else if (type != kImageBufferU16 && LayoutOf(type, layout)) {
    buffer->elem_size = layout.elem_size;
    buffer->channels = layout.channels;
  }
  buffer->rows = rows;
  buffer->cols = cols;
  buffer->step = cols;
  buffer->data = external;
  buffer->type = type;
  buffer->owns_data = 0;
}

void ImageBufferView(ImageBuffer* destination, const ImageBuffer& source) {
  *destination = source;
  destination->owns_data = 0;
}

void ImageBufferRelease(ImageBuffer* buffer) {
  if (buffer->data != nullptr && buffer->owns_data == 1) {
    void* raw;
    std::memcpy(&raw, buffer->data - sizeof raw, sizeof raw);
    std::free(raw);
  }
  buffer->data = nullptr;
  buffer->owns_data = 0;
}

void ImageBufferCopyData(const ImageBuffer& source, ImageBuffer* destination) {
  std::memcpy(destination->data, source.data, static_cast<size_t>(source.rows) * source.step);
}

int32_t ImageBufferType(const ImageBuffer& buffer) {
  return buffer.type;
}
uint32_t ImageBufferChannels(const ImageBuffer& buffer) {
  return buffer.channels;
}
uint32_t ImageBufferElemSize(const ImageBuffer& buffer) {
  return buffer.elem_size;
}

}  // namespace pexo
