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

/* An image: sizes in pixels, strides in bytes. The record itself is plain data; who made the planes frees them. */
typedef struct QmxImage {
  int32_t format;
  int32_t width;
  int32_t height;
  uint8_t* plane[4];
  int32_t stride[4];
} QmxImage;

/* An image with its planes allocated and tightly packed: two-plane formats have stride width on both planes. On failure
 * (a size below 1, an odd size of a two-plane format, an unknown format, no memory) every field is 0. The pixels are
 * not initialised. */
QmxImage qmxImageCreate(int32_t width, int32_t height, int32_t format);

/* Frees the planes of an image made by qmxImageCreate and clears the record. 0 on success, also for an image without
 * planes; non-zero for a null pointer. */
int32_t qmxImageFree(QmxImage* image);

/* Scales `source` to the size of `destination`. Both have the same format (1, 2, 9, 17 or 18). `interpolation`: 0
 * nearest, 1 linear (horizontally only), 2 bilinear, 3 box. Returns 0, or non-zero and leaves the destination as it
 * was: null planes, sizes below 1, strides shorter than a row, different or unknown formats, an unknown interpolation,
 * no memory. */
int32_t qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation);

/* Colour conversions between images of one even size, full-range BT.601 (the JPEG matrix). Each returns 0, or non-zero
 * and leaves the destination as it was when an argument does not fit. */
int32_t qmxColorNV21toRGB888u8(const QmxImage* source, QmxImage* destination);
int32_t qmxColorNV21toBGR888u8(const QmxImage* source, QmxImage* destination);
int32_t qmxColorRGB888toNV21u8(const QmxImage* source, QmxImage* destination);
int32_t qmxColorBGR888toNV21u8(const QmxImage* source, QmxImage* destination);

#ifdef __cplusplus
}
#endif

#endif /* QMX_QMX_IMAGE_H_ */
