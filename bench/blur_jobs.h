// SPDX-License-Identifier: Apache-2.0
// What bench_blur times: the blur's jobs as each side does them.
#ifndef PEXO_BENCH_BLUR_JOBS_H_
#define PEXO_BENCH_BLUR_JOBS_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/test_image.h"

namespace pexo::bench {

struct Size {
  int width;
  int height;
  std::string Name() const { return std::to_string(width) + "x" + std::to_string(height); }
};

// The planes of all jobs of one size.
struct Data {
  explicit Data(const Size& s)
      : size(s),
        frame(test::TestImage::Picture(s.width, s.height, 1)),
        output(s.width, s.height),
        blurred(test::TestImage::Picture(s.width, s.height, 3, QMX_FORMAT_GRAY8)),
        mask(test::TestImage::Picture(s.width, s.height, 4, QMX_FORMAT_GRAY8)),
        small_mask(test::TestImage::Picture(128, 128, 5, QMX_FORMAT_GRAY8)),
        half(test::TestImage::Picture(s.width / 2 * 2, s.height / 2, 6, QMX_FORMAT_GRAY8)) {}

  int pixels() const { return size.width * size.height; }
  uint8_t* luma() { return frame.plane[0]; }
  uint8_t* chroma() { return frame.plane[1]; }
  uint8_t* out() { return output.plane[0]; }
  uint8_t* out_chroma() { return output.plane[1]; }

  Size size;
  test::TestImage frame;
  test::TestImage output;
  test::TestImage blurred;
  test::TestImage mask;
  test::TestImage small_mask;
  test::TestImage half;  // two planes of a quarter of the pixels side by side
};

using Run = std::function<void(Data&)>;

struct Bar {
  double limit = 0;  // 0: no bar
  Size size{};
};

// Sides that cannot do it are null.
struct Job {
  const char* name;
  Run ours;
  Run opencv;
  Run libyuv;
  Run memcpy;
  std::vector<Size> sizes;
  Bar opencv_bar{};
  Bar libyuv_bar{};
  bool composite = false;  // also shows our time without the image library's calls, against memcpy
  double memcpy_bar = 0;
};

std::vector<Job> Jobs();

}  // namespace pexo::bench

#endif  // PEXO_BENCH_BLUR_JOBS_H_
