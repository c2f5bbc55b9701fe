// SPDX-License-Identifier: Apache-2.0
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "blur/background_blur.h"
#include "blur/box_radius.h"
#include "blur/plane_filters.h"
#include "blur/resize.h"
#include "blur/row_stages.h"
#include "blur/scratch.h"
#include "common/library_image.h"
#include "kernels/kernel_table.h"

namespace pexo {
namespace {

// The frame scaled down by the image library, in the frame's format.
class SmallFrame {
 public:
  SmallFrame(int width, int height, int32_t format) : image_(qmxImageCreate(width, height, format)) {}

  [[nodiscard]] bool valid() const { return image_.plane[0] != nullptr && image_.plane[1] != nullptr; }
  [[nodiscard]] const QmxImage& image() const { return image_; }

  void ResizeFrom(QmxImage frame) {
    // Resampling does not care which byte of a pair comes first, but the library scales only one of the two orders.
    const int32_t format = image_.format;
    if (frame.format == QMX_FORMAT_NV12) {
      frame.format = QMX_FORMAT_NV21;
      image_.format = QMX_FORMAT_NV21;
    }
    Resize(frame, image_, kBlankPicture);
    image_.format = format;
  }

 private:
  LibraryImage image_;
};

ImageBuffer WrapPlane(uint8_t* data, int rows, int cols, int step) {
  ImageBuffer plane;
  ImageBufferWrap(&plane, static_cast<uint32_t>(rows), static_cast<uint32_t>(cols), kImageBufferU8, data);
  plane.step = static_cast<uint32_t>(step);
  return plane;
}

// A plane box-filtered twice, with a few rows between the passes. Radius 0 is a copy, so that pass is left out.
class BoxedPlane {
 public:
  BoxedPlane(Scratch& scratch, const ImageBuffer& source, int first_radius, int second_radius)
      : width_(static_cast<int>(source.cols)),
        height_(static_cast<int>(source.rows)),
        unchanged_(first_radius == 0 && second_radius == 0),
        result_(unchanged_ ? source : scratch.TakePlane(height_, width_)),
        source_(source.data, static_cast<int>(source.step)),
        once_(scratch, source_, width_, height_, first_radius,
              RowRing(scratch, BoxSourceDepth(second_radius, height_), width_)),
        twice_(scratch, once_, width_, height_, second_radius, RowRing(result_)) {}
  BoxedPlane(const BoxedPlane&) = delete;
  BoxedPlane& operator=(const BoxedPlane&) = delete;

  const ImageBuffer& Filter() {
    if (!unchanged_) twice_.Row(height_ - 1);
    return result_;
  }

 private:
  using Once = BoxRows<const PlaneRows>;

  int width_;
  int height_;
  bool unchanged_;
  ImageBuffer result_;
  PlaneRows source_;
  Once once_;
  BoxRows<Once> twice_;
};

// What the variant keeps in memory beside the small frame and the output.
struct AlignedPlanes {
  AlignedPlanes(Scratch& scratch, const QmxImage& frame, const QmxImage& small, bool mask_fits, int radius)
      : full_size(scratch.TakePlane(mask_fits ? frame.height / 2 : frame.height, frame.width)),
        odd(scratch.TakePlane(small.height / 2, small.width / 2)),
        even(scratch.TakePlane(small.height / 2, small.width / 2)),
        boxed_luma(scratch, WrapPlane(small.plane[0], small.height, small.width, small.stride[0]), radius, radius),
        boxed_odd(scratch, odd, 0, radius / 2),
        boxed_even(scratch, even, 0, radius / 2) {}

  ImageBuffer full_size;  // first for the two enlarged chroma halves, then for the enlarged mask
  ImageBuffer odd;        // bytes of the small frame's chroma pairs
  ImageBuffer even;
  BoxedPlane boxed_luma;
  BoxedPlane boxed_odd;
  BoxedPlane boxed_even;
};

void WriteChroma(const QmxImage& small, AlignedPlanes& planes, QmxImage& output) {
  const int pairs = output.width / 2, rows = output.height / 2;
  SplitChromaPairs(planes.odd.data, planes.even.data, small.plane[1], small.width / 2, small.height / 2,
                   small.stride[1]);
  uint8_t* place = planes.full_size.data;
  QmxImage odd = PlaneImage(WrapPlane(place, rows, pairs, pairs));
  QmxImage even = PlaneImage(WrapPlane(place + static_cast<ptrdiff_t>(rows) * pairs, rows, pairs, pairs));
  Resize(PlaneImage(planes.boxed_odd.Filter()), odd, kBlankPicture);
  Resize(PlaneImage(planes.boxed_even.Filter()), even, kBlankPicture);
  for (ptrdiff_t y = 0; y < rows; ++y) {
    Kernels().merge_pairs(output.plane[1] + y * output.stride[1], odd.plane[0] + y * pairs, even.plane[0] + y * pairs,
                          pairs);
  }
}

// The bottom corners, 4x4 luma pixels each, and the chroma bytes below the same columns show the frame itself.
void RestoreBottomCorners(const QmxImage& frame, QmxImage& output) {
  const auto restore = [&](int plane, int row) {
    const uint8_t* from = frame.plane[plane] + static_cast<ptrdiff_t>(row) * frame.stride[plane];
    uint8_t* to = output.plane[plane] + static_cast<ptrdiff_t>(row) * output.stride[plane];
    std::memcpy(to, from, 4);
    std::memcpy(to + output.width - 4, from + output.width - 4, 4);
  };
  for (int row = output.height - 4; row < output.height; ++row) restore(0, row);
  restore(1, (output.height - 4) / 2);
  restore(1, (output.height - 4) / 2 + 1);
}

}  // namespace

bool ComposeBackgroundBlurAligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float blur_strength) {
  assert(frame.width % 8 == 0 && frame.height % 8 == 0);
  assert(output.width == frame.width && output.height == frame.height && output.format == frame.format);
  if (frame.width < 8 || frame.height < 8) return false;
  const int radius = BoxRadius(static_cast<float>(static_cast<double>(blur_strength) + 0.1));
  const int scale = frame.width == 1920 || frame.height == 1920 ? 4 : 2;
  const bool mask_fits = mask.width == frame.width && mask.height == frame.height;

  SmallFrame small(frame.width / scale, frame.height / scale, frame.format);
  if (!small.valid()) return false;
  InScratch<AlignedPlanes> planes(frame, small.image(), mask_fits, radius);
  if (!planes) return false;

  small.ResizeFrom(frame);
  WriteChroma(small.image(), *planes, output);

  const QmxImage packed_mask{QMX_FORMAT_GRAY8, mask.width, mask.height, {mask.plane[0]}, {mask.width}};
  QmxImage full_mask = packed_mask;
  if (!mask_fits) {
    full_mask = PlaneImage(planes->full_size);
    Resize(packed_mask, full_mask, kBlankMask);
  }
  // The blurred luma is made where the output's luma goes, and blended in place.
  QmxImage luma = LumaImage(output);
  Resize(PlaneImage(planes->boxed_luma.Filter()), luma, kBlankPicture);
  const PlaneRows luma_rows(luma.plane[0], luma.stride[0]), mask_rows(full_mask.plane[0], full_mask.stride[0]);
  BlendLuma(frame, output, luma_rows, mask_rows);
  RestoreBottomCorners(frame, output);
  return true;
}

}  // namespace pexo
