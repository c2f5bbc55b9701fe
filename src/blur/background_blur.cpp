#include "blur/background_blur.h"

#include <cstring>

#include "blur/box_radius.h"
#include "blur/plane_filters.h"
#include "blur/row_stages.h"
#include "blur/scratch.h"
#include "kernels/kernel_table.h"

namespace pexo {
namespace {

// The frame scaled down by the image library, in the frame's format.
class SmallFrame {
 public:
  SmallFrame(int width, int height, int32_t format) : image_(qmxImageCreate(width, height, format)) {}
  ~SmallFrame() {
    if (image_.plane[0] != nullptr) qmxImageFree(&image_);
  }
  SmallFrame(const SmallFrame&) = delete;
  SmallFrame& operator=(const SmallFrame&) = delete;

  [[nodiscard]] bool valid() const { return image_.plane[0] != nullptr && image_.plane[1] != nullptr; }
  [[nodiscard]] const QmxImage& image() const { return image_; }

  void ResizeFrom(QmxImage frame) {
    // Resampling does not care which byte of a pair comes first, but the library scales only one of the two orders.
    const int32_t format = image_.format;
    if (frame.format == QMX_FORMAT_NV12) {
      frame.format = QMX_FORMAT_NV21;
      image_.format = QMX_FORMAT_NV21;
    }
    if (qmxResize(&frame, &image_, QMX_INTERPOLATION_BILINEAR) != 0) {
      std::memset(image_.plane[0], 128, static_cast<size_t>(image_.height) * static_cast<size_t>(image_.stride[0]));
      std::memset(image_.plane[1], 128, static_cast<size_t>(image_.height / 2) * static_cast<size_t>(image_.stride[1]));
    }
    image_.format = format;
  }

 private:
  QmxImage image_;
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
  BoxedPlane(Scratch* scratch, const ImageBuffer& source, int first_radius, int second_radius)
      : width_(static_cast<int>(source.cols)),
        height_(static_cast<int>(source.rows)),
        unchanged_(first_radius == 0 && second_radius == 0),
        result_(unchanged_ ? source : scratch->TakePlane(height_, width_)),
        source_(source.data, static_cast<int>(source.step)),
        first_(scratch, &source_, width_, height_, first_radius,
               RowRing(scratch, BoxSourceDepth(second_radius, height_), width_)),
        second_(scratch, &first_, width_, height_, second_radius, RowRing(result_)) {}
  BoxedPlane(const BoxedPlane&) = delete;
  BoxedPlane& operator=(const BoxedPlane&) = delete;

  const ImageBuffer& Filter() {
    if (!unchanged_) {
      second_.Row(height_ - 1);
    }
    return result_;
  }

 private:
  int width_;
  int height_;
  bool unchanged_;
  ImageBuffer result_;
  PlaneRows source_;
  BoxRows<PlaneRows> first_;
  BoxRows<BoxRows<PlaneRows>> second_;
};

// Everything the aligned variant keeps in memory beside the small frame. The chroma halves are named by the byte of the
// frame's pairs that they hold: `first` the second byte, as SplitChromaPairs gives it.
struct AlignedPlanes {
  AlignedPlanes(Scratch* scratch, const QmxImage& frame, const QmxImage& small, bool needs_mask, int radius)
      : luma(scratch->TakePlane(frame.height, frame.width)),
        first(scratch->TakePlane(frame.height / 2, frame.width / 2)),
        second(scratch->TakePlane(frame.height / 2, frame.width / 2)),
        mask(scratch->TakePlane(needs_mask ? frame.height : 0, frame.width)),
        small_first(scratch->TakePlane(small.height / 2, small.width / 2)),
        small_second(scratch->TakePlane(small.height / 2, small.width / 2)),
        boxed_luma(scratch, WrapPlane(small.plane[0], small.height, small.width, small.stride[0]), radius, radius),
        boxed_first(scratch, small_first, 0, radius / 2),
        boxed_second(scratch, small_second, 0, radius / 2) {}

  ImageBuffer luma;
  ImageBuffer first;
  ImageBuffer second;
  ImageBuffer mask;
  ImageBuffer small_first;
  ImageBuffer small_second;
  BoxedPlane boxed_luma;
  BoxedPlane boxed_first;
  BoxedPlane boxed_second;
};

// The bottom corners, 4x4 luma pixels each, and the chroma bytes below the same columns show the frame itself.
void RestoreBottomCorners(const QmxImage& frame, const QmxImage& output) {
  const auto restore = [&](int plane, int row) {
    const uint8_t* from = frame.plane[plane] + static_cast<ptrdiff_t>(row) * frame.stride[plane];
    uint8_t* to = output.plane[plane] + static_cast<ptrdiff_t>(row) * output.stride[plane];
    std::memcpy(to, from, 4);
    std::memcpy(to + output.width - 4, from + output.width - 4, 4);
  };
  for (int row = output.height - 4; row < output.height; ++row) {
    restore(0, row);
  }
  restore(1, (output.height - 4) / 2);
  restore(1, (output.height - 4) / 2 + 1);
}

}  // namespace

void ComposeBackgroundBlur(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float blur_strength) {
  static_cast<void>(TryComposeBackgroundBlur(frame, output, mask, blur_strength));
}

bool TryComposeBackgroundBlur(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float blur_strength) {
  if (frame.width % 8 != 0 || frame.height % 8 != 0) {
    return ComposeBackgroundBlurUnaligned(frame, output, mask, blur_strength);
  }
  return ComposeBackgroundBlurAligned(frame, output, mask, blur_strength);
}

bool ComposeBackgroundBlurAligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask, float blur_strength) {
  const int width = frame.width;
  const int height = frame.height;
  if (width < 8 || height < 8) {
    return false;
  }
  const int radius = BoxRadius(static_cast<float>(static_cast<double>(blur_strength) + 0.1));
  const int scale = width == 1920 || height == 1920 ? 4 : 2;
  const bool mask_fits = mask.width == width && mask.height == height;

  SmallFrame small_frame(width / scale, height / scale, frame.format);
  if (!small_frame.valid()) {
    return false;
  }
  const QmxImage& small = small_frame.image();
  Scratch scratch;
  // Counts what the planes need; see Scratch.
  AlignedPlanes(&scratch, frame, small, !mask_fits, radius);
  if (!scratch.Allocate()) {
    return false;
  }
  AlignedPlanes planes(&scratch, frame, small, !mask_fits, radius);

  small_frame.ResizeFrom(frame);
  SplitChromaPairs(planes.small_first.data, planes.small_second.data, small.plane[1], small.width / 2, small.height / 2,
                   small.stride[1]);
  ResizePlane(GrayImage(planes.boxed_first.Filter()), planes.first);
  ResizePlane(GrayImage(planes.boxed_second.Filter()), planes.second);
  for (ptrdiff_t y = 0; y < height / 2; ++y) {
    Kernels().merge_pairs(output.plane[1] + y * output.stride[1], planes.first.data + y * (width / 2),
                          planes.second.data + y * (width / 2), width / 2);
  }

  const uint8_t* mask_rows = mask.plane[0];
  if (!mask_fits) {
    ResizePlane(PackedMask(mask), planes.mask);
    mask_rows = planes.mask.data;
  }
  ResizePlane(GrayImage(planes.boxed_luma.Filter()), planes.luma);
  for (ptrdiff_t y = 0; y < height; ++y) {
    Kernels().blend(output.plane[0] + y * output.stride[0], planes.luma.data + y * width,
                    frame.plane[0] + y * frame.stride[0], mask_rows + y * width, width);
  }
  RestoreBottomCorners(frame, output);
  return true;
}

}  // namespace pexo
