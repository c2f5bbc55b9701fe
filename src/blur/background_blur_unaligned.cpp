// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "blur/background_blur.h"
#include "blur/box_radius.h"
#include "blur/resize.h"
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

// Frame luma -> quarter -> box -> box -> half -> full size, a strip at a time. Without a quarter the frame's own.
class BlurredLuma {
 public:
  BlurredLuma(Scratch& scratch, const QmxImage& frame, const FrameSize& size, int radius)
      : has_quarter_(size.has_quarter()),
        frame_(frame.plane[0], frame.stride[0]),
        quarter_(frame_, size.quarter_width(),
                 RowRing(scratch, BoxSourceDepth(radius, size.quarter_height()), size.quarter_width())),
        once_(scratch, quarter_, size.quarter_width(), size.quarter_height(), radius,
              RowRing(scratch, BoxSourceDepth(radius, size.quarter_height()), size.quarter_width())),
        twice_(scratch, once_, size.quarter_width(), size.quarter_height(), radius,
               RowRing(scratch, 2, size.quarter_width())),
        half_(twice_, size.quarter_width(), size.quarter_height(), size.half_width(),
              RowRing(scratch, 4, size.half_width())),
        full_(half_, size.half_width(), size.half_height(), size.width, RowRing(scratch, 4, size.width)) {}
  BlurredLuma(const BlurredLuma&) = delete;
  BlurredLuma& operator=(const BlurredLuma&) = delete;

  const uint8_t* Row(int y) { return has_quarter_ ? full_.Row(y) : frame_.Row(y); }

 private:
  using Once = BoxRows<Downsample4Rows>;
  using Twice = BoxRows<Once>;
  using Half = Upsample2Rows<Twice>;

  bool has_quarter_;
  PlaneRows frame_;
  Downsample4Rows quarter_;
  Once once_;
  Twice twice_;
  Half half_;
  Upsample2Rows<Half> full_;
};

// One byte of the frame's chroma pairs: half -> quarter -> box -> half the frame's size.
class BlurredChromaHalf {
 public:
  BlurredChromaHalf(Scratch& scratch, SplitPairsRows& pairs, int byte, const FrameSize& size, int radius)
      : half_{pairs, byte},
        quarter_(half_, size.quarter_width(),
                 RowRing(scratch, BoxSourceDepth(radius, size.quarter_height()), size.quarter_width())),
        box_(scratch, quarter_, size.quarter_width(), size.quarter_height(), radius,
             RowRing(scratch, 2, size.quarter_width())),
        up_(box_, size.quarter_width(), size.quarter_height(), 2 * size.quarter_width(),
            RowRing(scratch, 4, 2 * size.quarter_width())) {}
  BlurredChromaHalf(const BlurredChromaHalf&) = delete;
  BlurredChromaHalf& operator=(const BlurredChromaHalf&) = delete;

  const uint8_t* Row(int y) { return up_.Row(y); }

 private:
  struct Half {
    SplitPairsRows& pairs;
    int byte;
    const uint8_t* Row(int y) { return pairs.Row(byte, y); }
  };
  using Quarter = Downsample2Rows<Half>;
  using Boxed = BoxRows<Quarter>;

  Half half_;
  Quarter quarter_;
  Boxed box_;
  Upsample2Rows<Boxed> up_;
};

class BlurredChroma {
 public:
  BlurredChroma(Scratch& scratch, const QmxImage& frame, const FrameSize& size, int radius)
      : pairs_(PlaneRows(frame.plane[1], frame.stride[1]), size.half_width(),
               RowRing(scratch, PairsDepth(radius, size), size.half_width()),
               RowRing(scratch, PairsDepth(radius, size), size.half_width())),
        odd_(scratch, pairs_, 1, size, radius),
        even_(scratch, pairs_, 0, size, radius) {}

  // Row y of as many pairs as the doubled quarter reaches; y is within it too.
  void WriteRow(int y, uint8_t* destination, int pairs) {
    const uint8_t* odd = odd_.Row(y);
    Kernels().merge_pairs(destination, odd, even_.Row(y), pairs);
  }

 private:
  // To begin with one half asks for the pairs of radius + 2 rows of the quarter before the other asks for its first.
  static int PairsDepth(int radius, const FrameSize& size) { return 2 * std::min(radius + 2, size.quarter_height()); }

  SplitPairsRows pairs_;
  BlurredChromaHalf odd_;
  BlurredChromaHalf even_;
};

// The mask smoothed by a small box and brought to the frame's size.
class SmoothMask {
 public:
  SmoothMask(Scratch& scratch, const QmxImage& mask, const FrameSize& size)
      : route_(RouteOf(mask, size)),
        height_(mask.height),
        smooth_(scratch.TakePlane(route_ == Route::kAsItIs ? 1 : mask.height, mask.width)),
        half_(scratch.TakePlane(route_ == Route::kHalfAndDouble ? size.half_height() : 0, size.half_width())),
        mask_(mask.plane[0], mask.stride[0]),
        smooth_rows_(scratch, mask_, mask.width, mask.height, kMaskRadius, RowRing(smooth_)),
        half_rows_(half_.data, size.half_width()),
        doubled_rows_(half_rows_, size.half_width(), size.half_height(), size.width, RowRing(scratch, 4, size.width)) {}
  SmoothMask(const SmoothMask&) = delete;
  SmoothMask& operator=(const SmoothMask&) = delete;

  // Before the first row. What the image library makes of the mask at full size goes to `full_size`, a plane that stays
  // as it is until its rows have been asked for.
  void Prepare(QmxImage full_size) {
    full_size_rows_ = PlaneRows(full_size.plane[0], full_size.stride[0]);
    if (route_ == Route::kAsItIs) return;
    smooth_rows_.Row(height_ - 1);
    QmxImage half = PlaneImage(half_);
    Resize(PlaneImage(smooth_), route_ == Route::kHalfAndDouble ? half : full_size, kBlankMask);
  }

  const uint8_t* Row(int y) {
    switch (route_) {
      case Route::kAsItIs:
        return smooth_rows_.Row(y);
      case Route::kHalfAndDouble:
        return doubled_rows_.Row(y);
      default:
        return full_size_rows_.Row(y);
    }
  }

 private:
  enum class Route { kAsItIs, kResize, kHalfAndDouble };

  static Route RouteOf(const QmxImage& mask, const FrameSize& size) {
    if (mask.width == size.width && mask.height == size.height) return Route::kAsItIs;
    if (mask.width >= size.half_width() || mask.height >= size.half_height()) return Route::kResize;
    return Route::kHalfAndDouble;
  }

  Route route_;
  int height_;
  ImageBuffer smooth_;
  ImageBuffer half_;
  PlaneRows mask_;
  BoxRows<PlaneRows> smooth_rows_;
  PlaneRows half_rows_;
  Upsample2Rows<PlaneRows> doubled_rows_;
  PlaneRows full_size_rows_{nullptr, 0};
};

struct UnalignedStages {
  UnalignedStages(Scratch& scratch, const QmxImage& frame, const QmxImage& mask_image, const FrameSize& size,
                  int radius)
      : luma(scratch, frame, size, radius), chroma(scratch, frame, size, radius / 2), mask(scratch, mask_image, size) {}

  BlurredLuma luma;
  BlurredChroma chroma;
  SmoothMask mask;
};

void WriteChroma(const QmxImage& frame, QmxImage& output, const FrameSize& size, BlurredChroma& chroma) {
  for (int y = 0; y < size.half_height(); ++y) {
    const uint8_t* from = frame.plane[1] + static_cast<ptrdiff_t>(y) * frame.stride[1];
    uint8_t* to = output.plane[1] + static_cast<ptrdiff_t>(y) * output.stride[1];
    // What the doubled quarter does not reach keeps the frame's own chroma.
    const bool is_blurred = size.has_quarter() && y < 2 * size.quarter_height();
    const int blurred_pairs = is_blurred ? 2 * size.quarter_width() : 0;
    if (is_blurred) chroma.WriteRow(y, to, blurred_pairs);
    std::memcpy(to + 2 * blurred_pairs, from + 2 * blurred_pairs,
                2 * static_cast<size_t>(size.half_width() - blurred_pairs));
  }
}

}  // namespace

bool ComposeBackgroundBlurUnaligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask,
                                    float blur_strength) {
  assert(output.width == frame.width && output.height == frame.height && output.format == frame.format);
  const FrameSize size{frame.width, frame.height};
  if (size.width < 2 || size.height < 2 || mask.width < 1 || mask.height < 1) return false;
  // A quarter of the strength, four times: the product in single precision, the rest in double.
  const float quarter_strength = blur_strength * 0.25f;
  const int radius = BoxRadius(static_cast<float>(static_cast<double>(quarter_strength) * 4.0 + 0.1));

  InScratch<UnalignedStages> stages(frame, mask, size, radius);
  if (!stages) return false;
  stages->mask.Prepare(LumaImage(output));
  BlendLuma(frame, output, stages->luma, stages->mask);
  WriteChroma(frame, output, size, stages->chroma);
  return true;
}

}  // namespace pexo
