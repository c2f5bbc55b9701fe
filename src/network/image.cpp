// SPDX-License-Identifier: Apache-2.0
#include "network/image.h"

#include <cassert>
#include <cstddef>
#include <cstring>
#include <utility>

namespace pexo {
namespace {

size_t Size(int32_t value) {
  return static_cast<size_t>(static_cast<int64_t>(value));
}

bool IsRgb(int32_t format) {
  return format == kFormatBgr888 || format == kFormatRgb888;
}
bool IsTwoPlane(int32_t format) {
  return format == kFormatNv12 || format == kFormatNv21;
}

// Pixel (r, c) takes the value of (r + 1, c + 1); the last row and the last column keep theirs.
void ShiftUpLeft(Image& packed_plane) {
  if (packed_plane.width < 2) return;
  const size_t width = Size(packed_plane.width);
  uint8_t* row = packed_plane.plane[0];
  for (int32_t y = 0; y + 1 < packed_plane.height; ++y, row += width) std::memcpy(row, row + width + 1, width - 1);
}

void SwapRedAndBlue(QmxImage& destination, const QmxImage& source) {
  for (int32_t y = 0; y < destination.height; ++y) {
    const uint8_t* from = source.plane[0] + static_cast<ptrdiff_t>(y) * source.stride[0];
    uint8_t* to = destination.plane[0] + static_cast<ptrdiff_t>(y) * destination.stride[0];
    for (int32_t x = 0; x < destination.width; ++x, from += 3, to += 3) {
      to[0] = from[2];
      to[1] = from[1];
      to[2] = from[0];
    }
  }
}

void CopyPlanes(QmxImage& destination, const QmxImage& source) {
  if (!IsRgb(destination.format) && destination.format != kFormatGray8 && !IsTwoPlane(destination.format)) return;
  assert(destination.stride[0] == source.stride[0]);
  std::memcpy(destination.plane[0], source.plane[0], Size(destination.stride[0]) * Size(destination.height));
  if (!IsTwoPlane(destination.format) || destination.plane[1] == nullptr || source.plane[1] == nullptr) return;
  assert(destination.stride[1] == source.stride[1]);
  std::memcpy(destination.plane[1], source.plane[1], Size(destination.height) * Size(destination.stride[1]) / 2);
}

// Visits a plane column by column, from the last column to the first, each from the top down.
template <typename Visit>
void ForEachColumnFromTheRight(const QmxImage& image, ptrdiff_t pixel_bytes, Visit visit) {
  for (int32_t x = image.width - 1; x >= 0; --x) {
    uint8_t* pixel = image.plane[0] + x * pixel_bytes;
    for (int32_t y = 0; y < image.height; ++y, pixel += image.stride[0]) visit(pixel);
  }
}

template <size_t kPixelBytes>
void RotateQuarterPixels(QmxImage& destination, const QmxImage& source, bool clockwise) {
  if (clockwise) {
    ForEachColumnFromTheRight(destination, kPixelBytes, [from = source.plane[0]](uint8_t* pixel) mutable {
      std::memcpy(pixel, from, kPixelBytes);
      from += kPixelBytes;
    });
  } else {
    ForEachColumnFromTheRight(source, kPixelBytes, [to = destination.plane[0]](const uint8_t* pixel) mutable {
      std::memcpy(to, pixel, kPixelBytes);
      to += kPixelBytes;
    });
  }
}

}  // namespace

Image::Image(Image&& other) noexcept
    : QmxImage(other), owns_data(std::exchange(other.owns_data, false)), interpolation(other.interpolation) {}

Image& Image::operator=(Image&& other) noexcept {
  if (this != &other) {
    Release();
    static_cast<QmxImage&>(*this) = other;
    owns_data = std::exchange(other.owns_data, false);
    interpolation = other.interpolation;
  }
  return *this;
}

Image Image::Borrow(const QmxImage& pixels) {
  Image image;
  static_cast<QmxImage&>(image) = pixels;
  return image;
}

void Image::Release() noexcept {
  if (owns_data) delete[] plane[0];
  owns_data = false;
  for (uint8_t*& each : plane) each = nullptr;
}

void AllocImage(Image& image, int32_t width, int32_t height, int32_t format) {
  image.Release();
  static_cast<QmxImage&>(image) = QmxImage{};
  image.format = format;
  image.width = width;
  image.height = height;
  const size_t pixels = Size(width) * Size(height);
  size_t bytes = 0;
  if (IsTwoPlane(format)) {
    bytes = pixels * 3 / 2;
    image.stride[0] = image.stride[1] = width;
  } else if (format == kFormatGray8) {
    bytes = pixels;
    image.stride[0] = width;
  } else if (IsRgb(format)) {
    bytes = pixels * 3;
    image.stride[0] = 3 * width;
  } else {
    return;
  }
  image.plane[0] = new uint8_t[bytes]();
  image.owns_data = true;
  if (IsTwoPlane(format)) image.plane[1] = image.plane[0] + pixels;
}

void ConvertImage(Image& destination, const QmxImage& source) {
  if (destination.plane[0] == nullptr || source.plane[0] == nullptr) return;
  const auto pair = [&](int32_t from, int32_t to) { return source.format == from && destination.format == to; };
  if (pair(kFormatNv21, kFormatRgb888)) {
    qmxColorNV21toRGB888u8(&source, &destination);
  } else if (pair(kFormatNv21, kFormatBgr888)) {
    qmxColorNV21toBGR888u8(&source, &destination);
  } else if (pair(kFormatRgb888, kFormatNv21)) {
    qmxColorRGB888toNV21u8(&source, &destination);
  } else if (pair(kFormatBgr888, kFormatNv21)) {
    qmxColorBGR888toNV21u8(&source, &destination);
  } else if (pair(kFormatRgb888, kFormatBgr888) || pair(kFormatBgr888, kFormatRgb888)) {
    SwapRedAndBlue(destination, source);
  } else if (pair(kFormatBgr888, kFormatResize7) || pair(kFormatResize7, kFormatBgr888)) {
    qmxResize(&source, &destination, static_cast<int32_t>(destination.interpolation));
  } else if (source.format != destination.format) {
    return;
  } else if (source.width == destination.width && source.height == destination.height) {
    CopyPlanes(destination, source);
  } else {
    qmxResize(&source, &destination, static_cast<int32_t>(destination.interpolation));
  }
}

void ConvertImage(QmxImage& destination, const QmxImage& source) {
  Image borrowed = Image::Borrow(destination);
  ConvertImage(borrowed, source);
}

void RotateImage(QmxImage& image, int32_t format, int32_t degrees) {
  assert(format == image.format);
  if (degrees != 90 && degrees != 180 && degrees != 270) return;
  Image scratch;
  AllocImage(scratch, image.width, image.height, format);
  ConvertImage(scratch, image);
  if (degrees == 90) {
    RotateQuarter(image, scratch, 90);
  } else if (degrees == 270) {
    RotateQuarter(image, scratch, -90);
  } else if (scratch.plane[0] != nullptr && image.plane[0] != nullptr) {
    const size_t row_bytes = Size(image.width) * (IsRgb(format) ? 3 : 1);
    for (int32_t y = 0; y < scratch.height; ++y) {
      std::memcpy(image.plane[0] + static_cast<ptrdiff_t>(image.height - 1 - y) * image.stride[0],
                  scratch.plane[0] + static_cast<ptrdiff_t>(y) * scratch.stride[0], row_bytes);
    }
  }
}

void RotateQuarter(QmxImage& destination, const QmxImage& source, int32_t degrees) {
  assert(destination.width == source.width && destination.height == source.height);
  assert(destination.format == source.format);
  if (degrees != 90 && degrees != -90) return;
  if (destination.plane[0] == nullptr || source.plane[0] == nullptr) return;
  if (IsRgb(source.format)) {
    RotateQuarterPixels<3>(destination, source, degrees == 90);
  } else {
    RotateQuarterPixels<1>(destination, source, degrees == 90);
  }
}

Image DoubleAndShift(const QmxImage& plane) {
  assert(plane.format == kFormatGray8);
  Image doubled;
  AllocImage(doubled, 2 * plane.width, 2 * plane.height, kFormatGray8);
  ConvertImage(doubled, plane);
  ShiftUpLeft(doubled);
  return doubled;
}

}  // namespace pexo
