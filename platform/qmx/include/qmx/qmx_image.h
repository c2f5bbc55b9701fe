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
 * sizes up to 32767. `interpolation`: 0 nearest, 1 linear (horizontally only), 2 bilinear, 3 the mean of the pixels
 * covered; a plane one pixel wide is scaled to the nearest pixel by 1 and 2. Halving with 2 gives the rounded mean of
 * each 2x2 block; equal sizes copy. Returns 0, or non-zero and leaves the destination as it was: an image that is not
 * acceptable, different formats, an unknown interpolation, no memory. */
int32_t qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation);

/* Colour conversions between images of one even size, in full-range BT.601 (the matrix of JPEG files), within one level
 * of the exact value; chroma is the mean of its 2x2 block, and serves all four pixels on the way back. Each returns 0,
 * or non-zero and leaves the destination as it was: an image that is not acceptable, another format than the name
 * says, different sizes, no memory. */
int32_t qmxColorNV21toRGB888u8(const QmxImage* source, QmxImage* destination);
int32_t qmxColorNV21toBGR888u8(const QmxImage* source, QmxImage* destination);
int32_t qmxColorRGB888toNV21u8(const QmxImage* source, QmxImage* destination);
int32_t qmxColorBGR888toNV21u8(const QmxImage* source, QmxImage* destination);

#ifdef __cplusplus
}
#endif

#endif /* QMX_QMX_IMAGE_H_ */
