// SPDX-License-Identifier: Apache-2.0
// The owner of an image that the image library made.
#ifndef PEXO_COMMON_LIBRARY_IMAGE_H_
#define PEXO_COMMON_LIBRARY_IMAGE_H_

#include <qmx/qmx_image.h>

#include <cstdint>
#include <utility>

namespace pexo {

// Takes what qmxImageCreate answered; when memory was short, that is an image whose plane 0 is null.
class LibraryImage : public QmxImage {
 public:
  explicit LibraryImage(const QmxImage& created) : QmxImage(created) {}
  LibraryImage(const LibraryImage&) = delete;
  LibraryImage& operator=(const LibraryImage&) = delete;
  ~LibraryImage() { Free(); }

  // Frees the image before its owner goes, and returns the library's answer, 0 for success. The descriptor is empty
  // afterwards: an image that the library refuses to free is not tried twice.
  int32_t Free() {
    if (plane[0] == nullptr) return 0;
    QmxImage image = std::exchange(static_cast<QmxImage&>(*this), QmxImage{});
    return qmxImageFree(&image);
  }
};

}  // namespace pexo

#endif  // PEXO_COMMON_LIBRARY_IMAGE_H_
