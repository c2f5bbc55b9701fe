#include <gtest/gtest.h>

#include <cstring>

#include "blur/image_buffer.h"

// The address sanitizer stops at an impossible size unless it is told to return null, as malloc does.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}

namespace pexo {
namespace {

struct Layout {
  int32_t type;
  uint32_t elem_size;
  uint32_t channels;
};

TEST(ImageBuffer, CreateLaysOutEveryType) {
  for (const Layout& layout : {Layout{0, 1, 1}, Layout{2, 2, 1}, Layout{3, 2, 1}, Layout{4, 4, 1}, Layout{16, 1, 3}}) {
    for (const uint32_t rows : {0u, 1u, 7u, 480u}) {
      ImageBuffer buffer;
      ImageBufferReset(&buffer);
      EXPECT_EQ(buffer.data, nullptr);
      ImageBufferCreate(&buffer, rows, 33, layout.type);
      ASSERT_NE(buffer.data, nullptr);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.data) % 64, 0u);
      EXPECT_EQ(ImageBufferType(buffer), layout.type);
      EXPECT_EQ(ImageBufferElemSize(buffer), layout.elem_size);
      EXPECT_EQ(ImageBufferChannels(buffer), layout.channels);
      EXPECT_EQ(buffer.step, 33 * layout.elem_size * layout.channels);
      EXPECT_EQ(buffer.owns_data, 1u);
      // The block's own pointer stands in front of the pixels; the sanitizer checks both ends.
      uint8_t* raw;
      std::memcpy(&raw, buffer.data - sizeof raw, sizeof raw);
      EXPECT_GE(buffer.data - raw, 8);
      EXPECT_LE(buffer.data - raw, 71);
      std::memset(buffer.data, 1, size_t{rows} * buffer.step);
      ImageBufferRelease(&buffer);
      EXPECT_EQ(buffer.data, nullptr);
      EXPECT_EQ(buffer.owns_data, 0u);
      ImageBufferRelease(&buffer);
      EXPECT_EQ(buffer.data, nullptr);
    }
  }
}

TEST(ImageBuffer, CreateOfAnUnknownTypeOnlyTakesTheSize) {
  ImageBuffer buffer{9, 9, 9, 0, 9, 9, 77, nullptr};
  ImageBufferCreate(&buffer, 3, 5, 5);
  EXPECT_EQ(buffer.rows, 3u);
  EXPECT_EQ(buffer.cols, 5u);
  EXPECT_EQ(buffer.step, 5u);
  EXPECT_EQ(buffer.elem_size, 1u);
  EXPECT_EQ(buffer.channels, 9u);
  EXPECT_EQ(buffer.owns_data, 0u);
  EXPECT_EQ(buffer.type, 77);
  EXPECT_EQ(buffer.data, nullptr);
}

TEST(ImageBuffer, CreateThatOverflowsFailsAndReleasesHarmlessly) {
  ImageBuffer buffer;
  ImageBufferReset(&buffer);
  // 2^31 + 2^16 bytes: negative as a 32-bit product, so far too much once widened.
  ImageBufferCreate(&buffer, 32769, 65536, 0);
  EXPECT_EQ(buffer.data, nullptr);
  EXPECT_EQ(buffer.owns_data, 1u);
  ImageBufferRelease(&buffer);
  EXPECT_EQ(buffer.owns_data, 0u);
}

TEST(ImageBuffer, WrapKeepsWhatItsTypeDoesNotSet) {
  struct Case {
    int32_t type;
    uint32_t elem_size;
    uint32_t channels;
  };
  uint8_t pixels[64] = {};
  // 9 stands for what the record held before.
  for (const Case& expected :
       {Case{0, 1, 1}, Case{2, 9, 9}, Case{3, 2, 9}, Case{4, 4, 1}, Case{16, 1, 3}, Case{5, 9, 9}}) {
    ImageBuffer buffer{9, 9, 9, 1, 9, 9, 9, nullptr};
    ImageBufferWrap(&buffer, 2, 8, expected.type, pixels);
    EXPECT_EQ(buffer.elem_size, expected.elem_size) << expected.type;
    EXPECT_EQ(buffer.channels, expected.channels) << expected.type;
    EXPECT_EQ(buffer.step, 8u) << "one byte a column, whatever the type";
    EXPECT_EQ(buffer.type, expected.type);
    EXPECT_EQ(buffer.owns_data, 0u);
    ImageBufferRelease(&buffer);  // frees nothing: the pixels are on the stack
    EXPECT_EQ(buffer.data, nullptr);
  }
}

TEST(ImageBuffer, AViewAliasesAndFreesNothing) {
  ImageBuffer owner;
  ImageBufferReset(&owner);
  ImageBufferCreate(&owner, 4, 6, 16);
  std::memset(owner.data, 5, 4 * 18);
  ImageBuffer view;
  ImageBufferView(&view, owner);
  EXPECT_EQ(view.data, owner.data);
  EXPECT_EQ(view.step, 18u);
  EXPECT_EQ(view.owns_data, 0u);

  ImageBuffer copy;
  ImageBufferReset(&copy);
  ImageBufferCreate(&copy, 4, 6, 16);
  ImageBufferCopyData(view, &copy);
  ImageBufferRelease(&view);
  EXPECT_EQ(std::memcmp(copy.data, owner.data, 4 * 18), 0);
  ImageBufferRelease(&copy);
  ImageBufferRelease(&owner);
}

}  // namespace
}  // namespace pexo
