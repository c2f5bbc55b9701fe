#include "pipeline/thread_data.h"

#include <utility>

namespace pexo {

int32_t ThreadData::FreeImages() {
  for (QmxImage* image : {&frame, &mask}) {
    if (image->plane[0] == nullptr) continue;
    // Forgotten before it is freed: an image that the library refuses is not tried twice.
    QmxImage freed = std::exchange(*image, QmxImage{});
    const int32_t status = qmxImageFree(&freed);
    if (status != 0) return status;
  }
  return 0;
}

void ThreadData::Reset() {
  state = kSubmitted;
  claimed = failed = composed = false;
  worker = nullptr;
}

}  // namespace pexo
