// SPDX-License-Identifier: Apache-2.0
// The filters once more, straight from their formulas, and the background blur as a list of whole-plane steps with
// them, without any care for speed.
#ifndef PEXO_TESTS_BLUR_NAIVE_BLUR_H_
#define PEXO_TESTS_BLUR_NAIVE_BLUR_H_

#include <qmx/qmx_image.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace pexo::test {

// Pixels in memory. Reads outside repeat the border.
struct View {
  uint8_t* data;
  int step, width, height;
  uint8_t* Row(int y) const { return data + static_cast<ptrdiff_t>(y) * step; }
  int operator()(int x, int y) const { return Row(std::clamp(y, 0, height - 1))[std::clamp(x, 0, width - 1)]; }
};

// The filters' pixels (x, y), where source(x, y) gives any pixel of the source.

int BoxMean(const auto& source, int radius, int x, int y) {
  const auto side = static_cast<uint32_t>(2 * radius + 1);
  uint32_t sum = 0;
  for (int v = -radius; v <= radius; ++v) {
    for (int u = -radius; u <= radius; ++u) {
      sum += static_cast<uint32_t>(source(x + u, y + v));
    }
  }
  return static_cast<int>((2097152u + sum * (4194304u / (side * side))) >> 22);
}

int MeanOf2x2(const auto& source, int x, int y) {
  const int left = source(2 * x, 2 * y) + source(2 * x, 2 * y + 1);
  return (left + source(2 * x + 1, 2 * y) + source(2 * x + 1, 2 * y + 1) + 2) / 4;
}

int MeanOf4x4(const auto& source, int x, int y) {
  return MeanOf2x2([&](int u, int v) { return MeanOf2x2(source, u, v); }, x, y);
}

int Doubled(const auto& source, int x, int y) {
  const int a = source(x / 2, y / 2), b = source(x / 2 + 1, y / 2);
  const int c = source(x / 2, y / 2 + 1), d = source(x / 2 + 1, y / 2 + 1), sum = a + b + c + d;
  if (y % 2 == 0) return x % 2 == 0 ? a : (a + b + 1) / 2;
  return x % 2 == 0 ? (a + c + 1) / 2 : std::min(255, sum / 4 + sum / 2 % 2);
}

// Pixels of its own, each as pixel(x, y) gives it.
struct Plane : View {
  Plane(int w, int h, const auto& pixel)
      : View{nullptr, w, w, h}, pixels(std::make_unique<uint8_t[]>(static_cast<size_t>(w * h))) {
    data = pixels.get();
    for (int i = 0; i < w * h; ++i) data[i] = static_cast<uint8_t>(pixel(i % w, i / w));
  }

  std::unique_ptr<uint8_t[]> pixels;
};

inline Plane Boxed(const View& source, int radius) {
  return {source.width, source.height, [&](int x, int y) { return BoxMean(source, radius, x, y); }};
}

inline Plane DoubledPlane(const View& source) {
  return {2 * source.width, 2 * source.height, [&](int x, int y) { return Doubled(source, x, y); }};
}

inline Plane Resized(const View& source, int width, int height) {
  Plane result(width, height, [](int, int) { return 0; });
  const QmxImage from{QMX_FORMAT_GRAY8, source.width, source.height, {source.data}, {source.step}};
  QmxImage to{QMX_FORMAT_GRAY8, width, height, {result.data}, {width}};
  qmxResize(&from, &to, QMX_INTERPOLATION_BILINEAR);
  return result;
}

inline void NaiveBackgroundBlur(const QmxImage& frame, const QmxImage& output, const QmxImage& mask, float strength) {
  const int width = frame.width, height = frame.height;
  const bool aligned = width % 8 == 0 && height % 8 == 0;
  const int radius = strength > 0 ? static_cast<int>(static_cast<float>(strength + 0.1)) : 0;
  const View luma{frame.plane[0], frame.stride[0], width, height};
  const View chroma{frame.plane[1], frame.stride[1], width, height / 2};
  Plane blurred(width, height, luma),
      full_mask(mask.width, mask.height, View{mask.plane[0], mask.stride[0], mask.width, mask.height});
  // The first bytes of the pairs, and the second ones.
  Plane halves[2] = {{width / 2, height / 2, [&](int x, int y) { return chroma(2 * x, y); }},
                     {width / 2, height / 2, [&](int x, int y) { return chroma(2 * x + 1, y); }}};
  if (aligned) {
    const int scale = width == 1920 || height == 1920 ? 4 : 2;
    const Plane small = Resized(luma, width / scale, height / scale);
    blurred = Resized(Boxed(Boxed(small, radius), radius), width, height);
    for (Plane& half : halves) {
      const Plane small_half = Resized(half, small.width / 2, small.height / 2);
      half = Resized(Boxed(small_half, radius / 2), width / 2, height / 2);
    }
  } else {
    if (width >= 4 && height >= 4) {
      const Plane small(width / 4, height / 4, [&](int x, int y) { return MeanOf4x4(luma, x, y); });
      // Where the doubled plane ends its last pixels go on.
      blurred = DoubledPlane(Plane(width / 2, height / 2, DoubledPlane(Boxed(Boxed(small, radius), radius))));
      for (Plane& half : halves) {
        const Plane small_half(width / 4, height / 4, [&](int x, int y) { return MeanOf2x2(half, x, y); });
        const Plane doubled = DoubledPlane(Boxed(small_half, radius / 2));
        half = Plane(width / 2, height / 2, [&](int x, int y) {
          return x < doubled.width && y < doubled.height ? doubled(x, y) : half(x, y);
        });
      }
    }
    full_mask = Boxed(full_mask, 2);
  }
  if (mask.width != width || mask.height != height) {
    const bool double_it = !aligned && mask.width < width / 2 && mask.height < height / 2;
    full_mask = double_it ? DoubledPlane(Resized(full_mask, width / 2, height / 2)) : Resized(full_mask, width, height);
  }
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool corner = aligned && y >= height - 4 && (x < 4 || x >= width - 4);
      const int m = full_mask(x, y), mixed = (blurred(x, y) * (255 - m) + luma(x, y) * m) / 256;
      output.plane[0][y * output.stride[0] + x] = static_cast<uint8_t>(corner ? luma(x, y) : mixed);
      output.plane[1][y / 2 * output.stride[1] + x] =
          static_cast<uint8_t>(corner ? chroma(x, y / 2) : halves[x % 2](x / 2, y / 2));
    }
  }
}

}  // namespace pexo::test

#endif  // PEXO_TESTS_BLUR_NAIVE_BLUR_H_
