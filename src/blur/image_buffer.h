// SPDX-License-Identifier: Apache-2.0
// The blur's own pixel plane: a header record and a block that it owns (64-byte aligned) or borrows.
#ifndef PEXO_BLUR_IMAGE_BUFFER_H_
#define PEXO_BLUR_IMAGE_BUFFER_H_

#include <cstdint>

namespace pexo {

// Pixel type codes.
inline constexpr int32_t kImageBufferU8 = 0;
inline constexpr int32_t kImageBufferU16 = 2;
inline constexpr int32_t kImageBufferS16 = 3;
inline constexpr int32_t kImageBuffer32 = 4;
inline constexpr int32_t kImageBufferU8x3 = 16;

// A record is empty (`data` null), owning (`owns_data` 1) or borrowing (`owns_data` 0, `data` set). It is plain data:
// copying it makes an alias, and exactly one record may release an owned block.
struct ImageBuffer {
  uint32_t elem_size;  // bytes per channel value
  uint32_t channels;
  uint32_t step;  // bytes from row to row
  uint32_t owns_data;
  uint32_t rows;
  uint32_t cols;
  int32_t type;
  uint8_t* data;
};

// Empties a fresh record, before anything else is done with it; frees nothing.
void ImageBufferReset(ImageBuffer* buffer);

// Allocates an owned block of rows * cols pixels. `data` is null afterwards when there is no memory. An unknown type
// stores rows, cols, step = cols and elem_size = 1, and nothing else. What the record held before is not released.
void ImageBufferCreate(ImageBuffer* buffer, uint32_t rows, uint32_t cols, int32_t type);

// Describes memory that the buffer does not own. `step` becomes `cols` for every type, so only one-byte pixels get a
// true row step. Types 2 and unknown ones keep the record's elem_size and channels; type 3 keeps its channels.
void ImageBufferWrap(ImageBuffer* buffer, uint32_t rows, uint32_t cols, int32_t type, uint8_t* external);

// Makes `destination` a non-owning alias, valid as long as the source's block.
void ImageBufferView(ImageBuffer* destination, const ImageBuffer& source);

// Frees an owned block and empties the record. Harmless on empty and borrowing records.
void ImageBufferRelease(ImageBuffer* buffer);

// Copies source.rows * source.step bytes; the caller sees to it that both have that size.
void ImageBufferCopyData(const ImageBuffer& source, ImageBuffer* destination);

int32_t ImageBufferType(const ImageBuffer& buffer);
uint32_t ImageBufferChannels(const ImageBuffer& buffer);
uint32_t ImageBufferElemSize(const ImageBuffer& buffer);

}  // namespace pexo

#endif  // PEXO_BLUR_IMAGE_BUFFER_H_
