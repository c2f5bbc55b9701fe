// SPDX-License-Identifier: Apache-2.0
// The person in a frame, by the library: its mask view of a small copy.
#ifndef PEXO_COMPOSITOR_SEGMENTER_H_
#define PEXO_COMPOSITOR_SEGMENTER_H_

#include <pexo/compositor/compositor.h>
#include <pexo/humanbodyseg.h>

#include <memory>
#include <vector>

#include "planar_picture.h"

namespace pexo::compositor {

// What one frame brings: a small copy of its pixels, in its own range and matrix, and the mask of that copy in the same
// size. Both lie as the frame lies.
struct Segmentation {
  PlanarPicture picture;
  Plane<uint8_t> mask;  // 0 background to 255 person
};

// One thread at a time.
class Segmenter {
 public:
  // `rotation`: 0, 90, 180 or 270 degrees clockwise make the person stand upright. Throws Error when the library cannot
  // load the model, std::invalid_argument for another rotation or an odd model size.
  Segmenter(const Model& model, int rotation);
  ~Segmenter();
  Segmenter(const Segmenter&) = delete;
  Segmenter& operator=(const Segmenter&) = delete;

  // Shrinks the frame to the model's size by area averaging, and asks the library for the mask. Throws Error when the
  // library fails.
  void Segment(const ConstFrame& frame, Segmentation& result);

 private:
  struct HandleDeleter {
    void operator()(HumanBodySegHandle* handle) const;
  };

  void MakeModelFrame();

  std::unique_ptr<HumanBodySegHandle, HandleDeleter> handle_;
  Model model_;
  int rotation_;
  Scaler scaler_;
  PlanarPicture picture_;             // the copy in the camera's colours: full-range BT.601
  Plane<uint8_t> turned_[2];          // its chroma upright
  std::vector<uint8_t> model_frame_;  // NV21, tightly packed, as the library takes frames
};

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_SEGMENTER_H_
