#include "tests/blur/naive_filters.h"

#include <algorithm>

namespace pexo::testing {

NaivePlane::NaivePlane(const uint8_t* data, int w, int h, int step) : NaivePlane(w, h) {
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      At(x, y) = data[static_cast<ptrdiff_t>(y) * step + x];
    }
  }
}

int NaivePlane::Clamped(int x, int y) const {
  x = std::clamp(x, 0, width - 1);
  y = std::clamp(y, 0, height - 1);
  return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
}

namespace {

template <typename Pixel>
NaivePlane Generate(int width, int height, Pixel pixel) {
  NaivePlane result(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      result.At(x, y) = static_cast<uint8_t>(pixel(x, y));
    }
  }
  return result;
}

}  // namespace

NaivePlane NaiveBox(const NaivePlane& source, int radius) {
  const uint32_t reciprocal = 4194304u / static_cast<uint32_t>((2 * radius + 1) * (2 * radius + 1));
  return Generate(source.width, source.height, [&](int x, int y) {
    uint32_t sum = 0;
    for (int v = -radius; v <= radius; ++v) {
      for (int u = -radius; u <= radius; ++u) {
        sum += static_cast<uint32_t>(source.Clamped(x + u, y + v));
      }
    }
    return (2097152u + sum * reciprocal) >> 22;
  });
}

NaivePlane NaiveDownsample2(const NaivePlane& source) {
  return Generate(source.width / 2, source.height / 2, [&](int x, int y) {
    return (source.Clamped(2 * x, 2 * y) + source.Clamped(2 * x + 1, 2 * y) + source.Clamped(2 * x, 2 * y + 1) +
            source.Clamped(2 * x + 1, 2 * y + 1) + 2) /
           4;
  });
}

NaivePlane NaiveDownsample4(const NaivePlane& source) {
  NaivePlane half = NaiveDownsample2(source);
  return NaiveDownsample2(half);
}

NaivePlane NaiveUpsample2(const NaivePlane& source) {
  return Generate(2 * source.width, 2 * source.height, [&](int x, int y) {
    const int a = source.Clamped(x / 2, y / 2), b = source.Clamped(x / 2 + 1, y / 2);
    const int c = source.Clamped(x / 2, y / 2 + 1), d = source.Clamped(x / 2 + 1, y / 2 + 1);
    if (y % 2 == 0) {
      return x % 2 == 0 ? a : (a + b + 1) / 2;
    }
    const int sum = a + b + c + d;
    return x % 2 == 0 ? (a + c + 1) / 2 : std::min(255, sum / 4 + sum / 2 % 2);
  });
}

}  // namespace pexo::testing
