/* SPDX-License-Identifier: Apache-2.0 */
/* The image library's C interface, as far as this library uses it. */
#ifndef QMX_QMX_IMAGE_H_
#define QMX_QMX_IMAGE_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Format codes. The chroma plane of the two-plane formats has half the rows, each of width bytes in pairs: U, V for 17,
 * V, U for 18. */
enum {
  QMX_FORMAT_BGR888 = 1,
  QMX_FORMAT_RGB888 = 2, /* R, G, B in memory */
  QMX_FORMAT_GRAY8 = 9,
  QMX_FORMAT_NV12 = 17,
  QMX_FORMAT_NV21 = 18
};

enum {
  QMX_INTERPOLATION_NEAREST = 0,
  QMX_INTERPOLATION_LINEAR = 1,
  QMX_INTERPOLATION_BILINEAR = 2,
  QMX_INTERPOLATION_BOX = 3
};

/* An image: sizes in pixels, strides in bytes from row to row, at least a row's bytes. The record itself is plain data;
 * who made the planes frees them. */
typedef struct QmxImage {
  int32_t format;
  int32_t width;
  int32_t height;
  uint8_t* plane[4];
  int32_t stride[4];
} QmxImage;

/* Every operation may be called from any thread; calls may overlap in time when no image that one of them writes is
 * used by another. An image is acceptable when its format is one of the above, its sizes are from 1 up (even for 17 and
 * 18), every plane of the format is there, every stride holds a row, and no plane passes 2^31 - 1 bytes. */

/* An image with its planes allocated and tightly packed: two-plane formats have stride width on both planes, and plane
 * 1 follows plane 0 without a gap. On failure (an image that is not acceptable, no memory) every field is 0. The pixels
 * are not initialised. */
QmxImage qmxImageCreate(int32_t width, int32_t height, int32_t format);

/* Frees the planes of an image made by qmxImageCreate and clears the record. 0 on success, also for an image without
 * planes; non-zero for a null pointer. */
int32_t qmxImageFree(QmxImage* image);

/* Scales `source` to the size of `destination`, which must not share memory with it. Both have the same format, and
 * sides below 2^30. `interpolation`:
 *   0  nearest: the pixel in which the centre of the destination pixel lies;
 *   1  linear: as 2 horizontally, the nearest row vertically;
 *   2  bilinear: between the two by two pixels around that centre, beyond the outermost centres the outermost pixels;
 *   3  box: the mean of what the destination pixel covers, parts of pixels counted by their area, rounded.
 * A pixel's centre is half a pixel from its edges, whether the picture grows or shrinks, so edges stay in their place.
 * 1 and 2 come within 0.52 levels of the exact value (with sides up to 100000), and are rounded exactly (halves up)
 * where the source is an even number of times as large in both directions: halving is the rounded mean of each 2x2
 * block, a quarter that of the middle 2x2 of each 4x4. Equal sizes copy. The bytes are the same on every processor. No
 * memory is needed but about 32 KB of the stack. Returns 0, or non-zero and leaves the destination as it was: an image
 * that is not acceptable, longer sides, different formats, an unknown interpolation. */
int32_t qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation);

/* Colour conversions between images of one even size, in full-range BT.601 (the matrix of JPEG files). From NV21 they
 * come within 1.3 levels of the exact value, each pair of chroma samples serving its 2x2 block of pixels; to NV21
 * within 0.51, the chroma being that of the block's mean. Each needs no memory and returns 0, or non-zero and leaves
 * the destination as it was: an image that is not acceptable, another format than the name says, different sizes. */
int32_t qmxColorNV21toRGB888u8(const QmxImage* source, QmxImage* destination);
int32_t qmxColorNV21toBGR888u8(const QmxImage* source, QmxImage* destination);
int32_t qmxColorRGB888toNV21u8(const QmxImage* source, QmxImage* destination);
int32_t qmxColorBGR888toNV21u8(const QmxImage* source, QmxImage* destination);

#ifdef __cplusplus
}
#endif

#endif /* QMX_QMX_IMAGE_H_ */
