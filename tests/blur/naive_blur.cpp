#include "tests/blur/naive_blur.h"

#include <algorithm>
#include <cstring>

#include "tests/blur/naive_filters.h"

namespace pexo::testing {
namespace {

QmxImage Describe(const NaivePlane& plane) {
  QmxImage image{};
  image.format = QMX_FORMAT_GRAY8;
  image.width = plane.width;
  image.height = plane.height;
  image.plane[0] = const_cast<uint8_t*>(plane.pixels.data());
  image.stride[0] = plane.width;
  return image;
}

NaivePlane Resize(const NaivePlane& source, int width, int height) {
  NaivePlane result(width, height);
  const QmxImage from = Describe(source);
  QmxImage to = Describe(result);
  qmxResize(&from, &to, 2);
  return result;
}

// Byte `index` of each pair.
NaivePlane HalfOf(const QmxImage& frame, int index) {
  NaivePlane half(frame.width / 2, frame.height / 2);
  for (int y = 0; y < half.height; ++y) {
    for (int x = 0; x < half.width; ++x) {
      half.At(x, y) = frame.plane[1][y * frame.stride[1] + 2 * x + index];
    }
  }
  return half;
}

// Pixels beyond `source` repeat its nearest one.
NaivePlane Extend(const NaivePlane& source, int width, int height) {
  NaivePlane result(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      result.At(x, y) = static_cast<uint8_t>(source.Clamped(x, y));
    }
  }
  return result;
}

void Blend(const QmxImage& frame, QmxImage& output, NaivePlane& blurred, NaivePlane& mask) {
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) {
      const int m = mask.At(x, y);
      output.plane[0][y * output.stride[0] + x] =
          static_cast<uint8_t>((blurred.At(x, y) * (255 - m) + frame.plane[0][y * frame.stride[0] + x] * m) / 256);
    }
  }
}

void WritePairs(QmxImage& output, NaivePlane& second_bytes, NaivePlane& first_bytes) {
  for (int y = 0; y < output.height / 2; ++y) {
    for (int x = 0; x < output.width / 2; ++x) {
      output.plane[1][y * output.stride[1] + 2 * x] = first_bytes.At(x, y);
      output.plane[1][y * output.stride[1] + 2 * x + 1] = second_bytes.At(x, y);
    }
  }
}

void Aligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float strength) {
  const int width = frame.width, height = frame.height;
  const int radius = static_cast<int>(static_cast<float>(static_cast<double>(strength) + 0.1));
  const int scale = width == 1920 || height == 1920 ? 4 : 2;
  const int small_width = width / scale, small_height = height / scale;
  NaivePlane luma(small_width, small_height);
  NaivePlane pairs(small_width, small_height / 2);
  QmxImage from = frame, to = Describe(luma);
  from.format = to.format = QMX_FORMAT_NV21;
  to.plane[1] = pairs.pixels.data();
  to.stride[1] = small_width;
  qmxResize(&from, &to, 2);

  NaivePlane blurred = Resize(NaiveBox(NaiveBox(luma, radius), radius), width, height);
  NaivePlane second_bytes = Resize(NaiveBox(HalfOf(to, 1), radius / 2), width / 2, height / 2);
  NaivePlane first_bytes = Resize(NaiveBox(HalfOf(to, 0), radius / 2), width / 2, height / 2);
  NaivePlane full_mask(mask.plane[0], mask.width, mask.height, mask.width);
  if (mask.width != width || mask.height != height) {
    full_mask = Resize(full_mask, width, height);
  }
  Blend(frame, output, blurred, full_mask);
  WritePairs(output, second_bytes, first_bytes);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      if (y >= height - 4 && (x < 4 || x >= width - 4)) {
        output.plane[0][y * output.stride[0] + x] = frame.plane[0][y * frame.stride[0] + x];
        output.plane[1][y / 2 * output.stride[1] + x] = frame.plane[1][y / 2 * frame.stride[1] + x];
      }
    }
  }
}

void Unaligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float strength) {
  const int width = frame.width, height = frame.height;
  const int radius = static_cast<int>(static_cast<float>(static_cast<double>(strength * 0.25f) * 4.0 + 0.1));
  const NaivePlane luma(frame.plane[0], width, height, frame.stride[0]);
  NaivePlane blurred = luma;
  NaivePlane halves[2] = {HalfOf(frame, 0), HalfOf(frame, 1)};
  if (width >= 4 && height >= 4) {
    const NaivePlane half = NaiveUpsample2(NaiveBox(NaiveBox(NaiveDownsample4(luma), radius), radius));
    blurred = NaiveUpsample2(Extend(half, width / 2, height / 2));
    for (NaivePlane& plane : halves) {
      // Doubled into the plane it came from, which may be wider or higher by one.
      NaivePlane doubled = NaiveUpsample2(NaiveBox(NaiveDownsample2(plane), radius / 2));
      for (int y = 0; y < doubled.height; ++y) {
        for (int x = 0; x < doubled.width; ++x) {
          plane.At(x, y) = doubled.At(x, y);
        }
      }
    }
  }
  NaivePlane full_mask = NaiveBox(NaivePlane(mask.plane[0], mask.width, mask.height, mask.stride[0]), 2);
  if (mask.width != width || mask.height != height) {
    full_mask = mask.width >= width / 2 || mask.height >= height / 2
                    ? Resize(full_mask, width, height)
                    : NaiveUpsample2(Resize(full_mask, width / 2, height / 2));
  }
  Blend(frame, output, blurred, full_mask);
  WritePairs(output, halves[1], halves[0]);
}

}  // namespace

void NaiveBackgroundBlur(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float strength) {
  if (frame.width % 8 == 0 && frame.height % 8 == 0) {
    Aligned(frame, output, mask, strength);
  } else {
    Unaligned(frame, output, mask, strength);
  }
}

}  // namespace pexo::testing
