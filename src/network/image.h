// SPDX-License-Identifier: Apache-2.0
// Images inside the library and the primitives that move pixels between them.
#ifndef PEXO_NETWORK_IMAGE_H_
#define PEXO_NETWORK_IMAGE_H_

#include <qmx/qmx_image.h>

#include <cstdint>

namespace pexo {

// The image library's format codes that occur here.
enum ImageFormat : int32_t {
  kFormatBgr888 = 1,   // 3 bytes a pixel, one plane
  kFormatRgb888 = 2,   // 3 bytes a pixel, one plane
  kFormatResize7 = 7,  // only ever handed on to qmxResize
  kFormatGray8 = 9,    // 1 byte a pixel, one plane
  kFormatNv12 = 17,    // luma plane, then half the rows of U, V pairs
  kFormatNv21 = 18,    // luma plane, then half the rows of V, U pairs
};

inline constexpr uint32_t kInterpolationBilinear = 2;

// The image library's descriptor and two fields of our own. Move-only; an image with `owns_data` releases plane[0] (one
// block for all planes) when it goes out of scope.
struct Image : QmxImage {
  bool owns_data = false;
  uint32_t interpolation = kInterpolationBilinear;  // for resizes into this image

  Image() : QmxImage{} {}
  Image(Image&& other) noexcept;
  Image& operator=(Image&& other) noexcept;
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  ~Image() { Release(); }

  // A descriptor of somebody else's pixels.
  static Image Borrow(const QmxImage& pixels);

  void Release() noexcept;
};

// Makes `image` an owner of tightly packed pixels of the given size, all zero. Formats 1, 2, 9, 17 and 18; with any
// other format the planes stay null. Two-plane formats lie in one block, chroma after luma, both strides equal to
// `width`. Throws std::bad_alloc.
void AllocImage(Image& image, int32_t width, int32_t height, int32_t format);

// Fills the existing pixels of `destination` from `source`. Their formats decide how: a colour conversion (sizes must
// be equal), a swap of red and blue, a copy (equal formats and sizes) or a resize (equal formats, different sizes).
// Does nothing for any other pair of formats, or when a plane is missing. A copy takes whole rows, padding and all, so
// both sides must have the same strides.
void ConvertImage(Image& destination, const QmxImage& source);
void ConvertImage(QmxImage& destination, const QmxImage& source);

// Turns the pixels in place: 90 clockwise, 270 anticlockwise, 180 as a vertical flip (rows in reverse order, pixels
// inside a row as they were); any other value leaves them. `format` must be the image's own. The descriptor keeps its
// geometry, so a quarter turn of an image that is not square leaves the turned pixels packed in rows of the old width.
// Throws std::bad_alloc.
void RotateImage(QmxImage& image, int32_t format, int32_t degrees);

// A quarter turn of `source` into `destination`, both of one size: `degrees` is +90 (clockwise) or -90. For +90 the
// stride of the source is ignored, for -90 that of the destination.
void RotateQuarter(QmxImage& destination, const QmxImage& source, int32_t degrees);

// A GRAY8 plane resized to twice its width and height and then moved up and left by one pixel; the last row and the
// last column keep what the resize gave them. Throws std::bad_alloc.
Image DoubleAndShift(const QmxImage& plane);

}  // namespace pexo

#endif  // PEXO_NETWORK_IMAGE_H_
