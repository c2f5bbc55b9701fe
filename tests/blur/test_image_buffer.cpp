// SPDX-License-Identifier: Apache-2.0
#include "blur/image_buffer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace pexo {
namespace {

// elem_size, channels, step, owns_data, rows, cols, type.
using Header = std::array<int64_t, 7>;

Header HeaderOf(const ImageBuffer& b) {
  return {ImageBufferElemSize(b), ImageBufferChannels(b), b.step, b.owns_data, b.rows, b.cols, ImageBufferType(b)};
}

TEST(ImageBuffer, EveryTypeHasItsLayoutAndIsReleasedOnce) {
  // 9 is what a record held before.
  constexpr ImageBuffer kBefore{9, 9, 9, 9, 9, 9, 9, nullptr};
  struct Case {
    int32_t type;
    Header created, wrapped;
  };
  for (const Case& c : {Case{0, {1, 1, 33, 1, 7, 33, 0}, {1, 1, 33, 0, 7, 33, 0}},
                        Case{2, {2, 1, 66, 1, 7, 33, 2}, {9, 9, 33, 0, 7, 33, 2}},
                        Case{3, {2, 1, 66, 1, 7, 33, 3}, {2, 9, 33, 0, 7, 33, 3}},
                        Case{4, {4, 1, 132, 1, 7, 33, 4}, {4, 1, 33, 0, 7, 33, 4}},
                        Case{5, {1, 9, 33, 9, 7, 33, 9}, {9, 9, 33, 0, 7, 33, 5}},
                        Case{16, {1, 3, 99, 1, 7, 33, 16}, {1, 3, 33, 0, 7, 33, 16}}}) {
    ImageBuffer buffer = kBefore, view, wrapped = kBefore;
    ImageBufferCreate(&buffer, 7, 33, c.type);
    EXPECT_EQ(HeaderOf(buffer), c.created);
    ASSERT_EQ(buffer.data != nullptr, c.type != 5);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.data) % 64, 0u);
    if (buffer.data != nullptr) std::memset(buffer.data, 1, 7 * buffer.step);  // sanitizers see both ends
    ImageBufferView(&view, buffer);
    uint8_t pixels[7 * 33] = {};
    ImageBufferWrap(&wrapped, 7, 33, c.type, pixels);
    EXPECT_EQ(HeaderOf(wrapped), c.wrapped);
    if (c.type == 0) ImageBufferCopyData(view, &wrapped);
    EXPECT_EQ(pixels[7 * 33 - 1], c.type == 0 ? 1 : 0);
    for (ImageBuffer* released : {&view, &wrapped, &buffer, &buffer}) {
      ImageBufferRelease(released);
      EXPECT_EQ(released->data, nullptr);
      EXPECT_EQ(released->owns_data, 0u);
    }
  }
}

TEST(ImageBuffer, NoRowsHaveAPlaceAndTooManyHaveNone) {
  for (const uint32_t rows : {0u, 32769u}) {  // 2^31 + 2^16 bytes: negative as a 32-bit product
    ImageBuffer buffer;
    ImageBufferCreate(&buffer, rows, 65536, 0);
    EXPECT_EQ(buffer.data != nullptr, rows == 0);
    EXPECT_EQ(buffer.owns_data, 1u);
    ImageBufferRelease(&buffer);
  }
}

}  // namespace
}  // namespace pexo
