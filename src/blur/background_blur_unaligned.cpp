#include <algorithm>
#include <cstring>

#include "blur/background_blur.h"
#include "blur/box_radius.h"
#include "blur/plane_filters.h"
#include "blur/row_stages.h"
#include "blur/scratch.h"
#include "kernels/kernel_table.h"

namespace pexo {
namespace {

constexpr int kMaskRadius = 2;

struct FrameSize {
  int width;
  int height;
  [[nodiscard]] int half_width() const { return width / 2; }
  [[nodiscard]] int half_height() const { return height / 2; }
  [[nodiscard]] int quarter_width() const { return width / 4; }
  [[nodiscard]] int quarter_height() const { return height / 4; }
  [[nodiscard]] bool has_quarter() const { return width >= 4 && height >= 4; }
};

// Frame luma -> quarter -> box -> box -> half -> full size, a strip at a time.
class BlurredLuma {
 public:
  BlurredLuma(Scratch* scratch, const QmxImage& frame, const FrameSize& size, int radius)
      : quarter_(scratch, PlaneRows(frame.plane[0], frame.stride[0]), frame.stride[0], size.quarter_width(),
                 BoxSourceDepth(radius, size.quarter_height())),
        first_(scratch, &quarter_, size.quarter_width(), size.quarter_height(), radius,
               RowRing(scratch, BoxSourceDepth(radius, size.quarter_height()), size.quarter_width())),
        second_(scratch, &first_, size.quarter_width(), size.quarter_height(), radius,
                RowRing(scratch, 2, size.quarter_width())),
        half_(scratch, &second_, size.quarter_width(), size.quarter_height(), size.half_width()),
        full_(scratch, &half_, size.half_width(), size.half_height(), size.width) {}
  BlurredLuma(const BlurredLuma&) = delete;
  BlurredLuma& operator=(const BlurredLuma&) = delete;

  const uint8_t* Row(int y) { return full_.Row(y); }

 private:
  Downsample4Rows quarter_;
  BoxRows<Downsample4Rows> first_;
  BoxRows<BoxRows<Downsample4Rows>> second_;
  Upsample2Rows<BoxRows<BoxRows<Downsample4Rows>>> half_;
  Upsample2Rows<Upsample2Rows<BoxRows<BoxRows<Downsample4Rows>>>> full_;
};

// The two chroma halves of the frame at a quarter of the frame's size. Both are made together, and their users ask for
// the same rows in turn.
class QuarterChroma {
 public:
  QuarterChroma(Scratch* scratch, const QmxImage& frame, const FrameSize& size, int depth)
      : frame_(frame.plane[1], frame.stride[1]),
        pairs_(size.half_width()),
        width_(size.quarter_width()),
        halves_{RowRing(scratch, depth, width_), RowRing(scratch, depth, width_)},
        split_{scratch->Take(static_cast<size_t>(pairs_)), scratch->Take(static_cast<size_t>(pairs_)),
               scratch->Take(static_cast<size_t>(pairs_)), scratch->Take(static_cast<size_t>(pairs_))} {}

  const uint8_t* Row(int half, int y) {
    for (; made_ <= y; ++made_) {
      Kernels().split_pairs(split_[0], split_[1], frame_.Row(2 * made_), pairs_);
      Kernels().split_pairs(split_[2], split_[3], frame_.Row(2 * made_ + 1), pairs_);
      Kernels().downsample2(halves_[0].Slot(made_), split_[0], split_[2], width_);
      Kernels().downsample2(halves_[1].Slot(made_), split_[1], split_[3], width_);
    }
    return halves_[half].Slot(y);
  }

 private:
  PlaneRows frame_;
  int pairs_;
  int width_;
  RowRing halves_[2];
  uint8_t* split_[4];
  int made_ = 0;
};

// One of the two halves, filtered and brought back to half the frame's size.
class BlurredChromaHalf {
 public:
  BlurredChromaHalf(Scratch* scratch, QuarterChroma* quarter, int half, const FrameSize& size, int radius)
      : source_{quarter, half},
        box_(scratch, &source_, size.quarter_width(), size.quarter_height(), radius,
             RowRing(scratch, 2, size.quarter_width())),
        up_(scratch, &box_, size.quarter_width(), size.quarter_height(), 2 * size.quarter_width()) {}
  BlurredChromaHalf(const BlurredChromaHalf&) = delete;
  BlurredChromaHalf& operator=(const BlurredChromaHalf&) = delete;

  const uint8_t* Row(int y) { return up_.Row(y); }

 private:
  struct Half {
    QuarterChroma* quarter;
    int half;
    [[nodiscard]] const uint8_t* Row(int y) const { return quarter->Row(half, y); }
  };

  Half source_;
  BoxRows<Half> box_;
  Upsample2Rows<BoxRows<Half>> up_;
};

struct BlurredChroma {
  BlurredChroma(Scratch* scratch, const QmxImage& frame, const FrameSize& size, int radius)
      : quarter(scratch, frame, size, BoxSourceDepth(radius, size.quarter_height())),
        first(scratch, &quarter, 0, size, radius),
        second(scratch, &quarter, 1, size, radius) {}

  QuarterChroma quarter;
  BlurredChromaHalf first;
  BlurredChromaHalf second;
};

// The mask smoothed by a small box, at its own size: row by row, or as a plane where the image library resizes it.
struct SmoothMask {
  SmoothMask(Scratch* scratch, const QmxImage& mask, bool as_plane)
      : width(mask.width),
        height(mask.height),
        plane(scratch->TakePlane(as_plane ? height : 2, width)),
        source(mask.plane[0], mask.stride[0]),
        rows(scratch, &source, width, height, kMaskRadius, RowRing(plane)) {}
  SmoothMask(const SmoothMask&) = delete;
  SmoothMask& operator=(const SmoothMask&) = delete;

  const ImageBuffer& Plane() {
    rows.Row(height - 1);
    return plane;
  }

  int width;
  int height;
  ImageBuffer plane;
  PlaneRows source;
  BoxRows<PlaneRows> rows;
};

enum class MaskRoute { kAsItIs, kResize, kResizeToHalfAndDouble };

MaskRoute RouteOf(const QmxImage& mask, const FrameSize& size) {
  if (mask.width == size.width && mask.height == size.height) {
    return MaskRoute::kAsItIs;
  }
  return mask.width >= size.half_width() || mask.height >= size.half_height() ? MaskRoute::kResize
                                                                              : MaskRoute::kResizeToHalfAndDouble;
}

struct UnalignedStages {
  UnalignedStages(Scratch* scratch, const QmxImage& frame, const QmxImage& mask_image, const FrameSize& size,
                  MaskRoute route, int radius)
      : luma(scratch, frame, size, radius),
        chroma(scratch, frame, size, radius / 2),
        mask(scratch, mask_image, route != MaskRoute::kAsItIs),
        resized_mask(route == MaskRoute::kResize ? scratch->TakePlane(size.height, size.width)
                     : route == MaskRoute::kResizeToHalfAndDouble
                         ? scratch->TakePlane(size.half_height(), size.half_width())
                         : scratch->TakePlane(0, 0)),
        resized_rows(resized_mask.data, static_cast<int>(resized_mask.step)),
        doubled_mask(scratch, &resized_rows, size.half_width(), size.half_height(), size.width) {}

  BlurredLuma luma;
  BlurredChroma chroma;
  SmoothMask mask;
  ImageBuffer resized_mask;
  PlaneRows resized_rows;
  Upsample2Rows<PlaneRows> doubled_mask;
};

template <typename Luma, typename Mask>
void BlendLuma(const QmxImage& frame, const QmxImage& output, const FrameSize& size, Luma* luma, Mask* mask) {
  for (int y = 0; y < size.height; ++y) {
    const ptrdiff_t row = y;
    Kernels().blend(output.plane[0] + row * output.stride[0], luma->Row(y), frame.plane[0] + row * frame.stride[0],
                    mask->Row(y), size.width);
  }
}

template <typename Mask>
void BlendLuma(const QmxImage& frame, const QmxImage& output, const FrameSize& size, UnalignedStages* stages,
               Mask* mask) {
  if (size.has_quarter()) {
    BlendLuma(frame, output, size, &stages->luma, mask);
  } else {
    PlaneRows sharp(frame.plane[0], frame.stride[0]);
    BlendLuma(frame, output, size, &sharp, mask);
  }
}

void WriteChroma(const QmxImage& frame, const QmxImage& output, const FrameSize& size, BlurredChroma* chroma) {
  const int pairs = size.half_width();
  for (int y = 0; y < size.half_height(); ++y) {
    const uint8_t* from = frame.plane[1] + static_cast<ptrdiff_t>(y) * frame.stride[1];
    uint8_t* to = output.plane[1] + static_cast<ptrdiff_t>(y) * output.stride[1];
    // What the doubled quarter does not reach keeps the frame's own chroma.
    int blurred_pairs = 0;
    if (size.has_quarter() && y < 2 * size.quarter_height()) {
      blurred_pairs = 2 * size.quarter_width();
      Kernels().merge_pairs(to, chroma->first.Row(y), chroma->second.Row(y), blurred_pairs);
    }
    std::memcpy(to + 2 * blurred_pairs, from + 2 * blurred_pairs, 2 * static_cast<size_t>(pairs - blurred_pairs));
  }
}

}  // namespace

bool ComposeBackgroundBlurUnaligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask,
                                    float blur_strength) {
  const FrameSize size{frame.width, frame.height};
  if (size.width < 2 || size.height < 2 || mask.width < 1 || mask.height < 1) {
    return false;
  }
  // A quarter of the strength, four times: the product in single precision, the rest in double.
  const float quarter_strength = blur_strength * 0.25f;
  const int radius = BoxRadius(static_cast<float>(static_cast<double>(quarter_strength) * 4.0 + 0.1));
  const MaskRoute route = RouteOf(mask, size);

  Scratch scratch;
  // Counts what the stages need; see Scratch.
  UnalignedStages(&scratch, frame, mask, size, route, radius);
  if (!scratch.Allocate()) {
    return false;
  }
  UnalignedStages stages(&scratch, frame, mask, size, route, radius);

  switch (route) {
    case MaskRoute::kAsItIs:
      BlendLuma(frame, output, size, &stages, &stages.mask.rows);
      break;
    case MaskRoute::kResize:
      ResizePlane(GrayImage(stages.mask.Plane()), stages.resized_mask);
      BlendLuma(frame, output, size, &stages, &stages.resized_rows);
      break;
    case MaskRoute::kResizeToHalfAndDouble:
      ResizePlane(GrayImage(stages.mask.Plane()), stages.resized_mask);
      BlendLuma(frame, output, size, &stages, &stages.doubled_mask);
      break;
  }
  WriteChroma(frame, output, size, &stages.chroma);
  return true;
}

}  // namespace pexo
