// An image with pixels of its own, for tests.
#ifndef PEXO_TESTS_SUPPORT_TEST_IMAGE_H_
#define PEXO_TESTS_SUPPORT_TEST_IMAGE_H_

#include <qmx/qmx_image.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace pexo {

// Any format; formats that are not known have one byte a pixel. Rows are `padding` bytes longer than their pixels.
struct TestImage : QmxImage {
  TestImage(int32_t image_width, int32_t image_height, int32_t image_format, int32_t padding = 0) : QmxImage{} {
    const bool is_rgb = image_format == QMX_FORMAT_BGR888 || image_format == QMX_FORMAT_RGB888;
    const bool is_yuv = image_format == QMX_FORMAT_NV12 || image_format == QMX_FORMAT_NV21;
    format = image_format;
    width = image_width;
    height = image_height;
    stride[0] = (is_rgb ? 3 : 1) * width + padding;
    const auto luma_bytes = static_cast<size_t>(stride[0]) * static_cast<size_t>(height);
    bytes.resize(is_yuv ? luma_bytes * 3 / 2 : luma_bytes);
    plane[0] = bytes.data();
    if (is_yuv) {
      stride[1] = stride[0];
      plane[1] = bytes.data() + luma_bytes;
    }
  }
  TestImage(int32_t image_width, int32_t image_height, int32_t image_format, const std::vector<uint8_t>& content)
      : TestImage(image_width, image_height, image_format) {
    std::copy(content.begin(), content.end(), bytes.begin());
  }
  TestImage(TestImage&&) = default;  // the pixels stay where they are
  TestImage(const TestImage&) = delete;

  TestImage& Fill(uint8_t value) {
    std::fill(bytes.begin(), bytes.end(), value);
    return *this;
  }
  TestImage& Randomise(uint32_t seed = 1) {
    std::minstd_rand random(seed);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random() >> 8);
    return *this;
  }

  std::vector<uint8_t> bytes;  // of all planes
};

}  // namespace pexo

#endif  // PEXO_TESTS_SUPPORT_TEST_IMAGE_H_
