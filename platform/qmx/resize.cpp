#include <qmx/qmx_image.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>

#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>

#include "image_layout.h"

namespace pexo::qmx {
namespace {

static_assert(QMX_INTERPOLATION_NEAREST == static_cast<int>(libyuv::kFilterNone));
static_assert(QMX_INTERPOLATION_LINEAR == static_cast<int>(libyuv::kFilterLinear));
static_assert(QMX_INTERPOLATION_BILINEAR == static_cast<int>(libyuv::kFilterBilinear));
static_assert(QMX_INTERPOLATION_BOX == static_cast<int>(libyuv::kFilterBox));

// libyuv steps through the source in 16.16 fixed point.
constexpr int32_t kMaxScalableSize = 32767;
// libyuv divides a box's sum by a 16-bit reciprocal of its area, which is coarse for large boxes, and adds its rows up
// in 16 bits.
constexpr int32_t kMaxLibraryBox = 8;

struct Plane {
  uint8_t* data;
  int stride;
  int width;
  int height;
};

// Each destination pixel is the rounded mean of the source pixels that it covers, at least one.
void ScaleByMean(const Plane& source, const Plane& destination) {
  const auto edge = [](int64_t index, int64_t source_size, int64_t size) {
    return static_cast<int>(index * source_size / size);
  };
  for (int y = 0; y < destination.height; ++y) {
    const int top = edge(y, source.height, destination.height);
    const int bottom = std::max(top + 1, edge(y + 1, source.height, destination.height));
    for (int x = 0; x < destination.width; ++x) {
      const int left = edge(x, source.width, destination.width);
      const int right = std::max(left + 1, edge(x + 1, source.width, destination.width));
      int64_t sum = 0;
      for (int row = top; row < bottom; ++row) {
        const uint8_t* pixels = source.data + static_cast<std::ptrdiff_t>(row) * source.stride;
        for (int column = left; column < right; ++column) sum += pixels[column];
      }
      const int64_t area = static_cast<int64_t>(bottom - top) * (right - left);
      destination.data[static_cast<std::ptrdiff_t>(y) * destination.stride + x] =
          static_cast<uint8_t>((sum + area / 2) / area);
    }
  }
}

void ScaleOneChannel(const Plane& source, const Plane& destination, int32_t interpolation) {
  if (interpolation == QMX_INTERPOLATION_BOX &&
      (source.width > kMaxLibraryBox * destination.width || source.height > kMaxLibraryBox * destination.height)) {
    ScaleByMean(source, destination);
    return;
  }
  libyuv::ScalePlane(source.data, source.stride, source.width, source.height, destination.data, destination.stride,
                     destination.width, destination.height, static_cast<libyuv::FilterMode>(interpolation));
}

// Interleaved samples are scaled channel by channel, so that a channel of any format comes out as a grey plane would.
// (libyuv's scalers for interleaved pairs and triples know fewer filters, and the one for pairs goes wrong where only
// the height changes.)
class ChannelBuffers {
 public:
  ChannelBuffers(int channels, int width, int height)
      : size_(static_cast<std::size_t>(width) * height),
        memory_(std::make_unique_for_overwrite<uint8_t[]>(size_ * channels)),
        width_(width),
        height_(height) {}

  Plane operator[](int channel) const { return {memory_.get() + size_ * channel, width_, width_, height_}; }

  void Split(const Plane& source, int channels) const {
    const Plane a = (*this)[0];
    const Plane b = (*this)[1];
    if (channels == 2) {
      libyuv::SplitUVPlane(source.data, source.stride, a.data, width_, b.data, width_, width_, height_);
    } else {
      libyuv::SplitRGBPlane(source.data, source.stride, a.data, width_, b.data, width_, (*this)[2].data, width_, width_,
                            height_);
    }
  }

  void Merge(const Plane& destination, int channels) const {
    const Plane a = (*this)[0];
    const Plane b = (*this)[1];
    if (channels == 2) {
      libyuv::MergeUVPlane(a.data, width_, b.data, width_, destination.data, destination.stride, width_, height_);
    } else {
      libyuv::MergeRGBPlane(a.data, width_, b.data, width_, (*this)[2].data, width_, destination.data,
                            destination.stride, width_, height_);
    }
  }

 private:
  std::size_t size_;
  std::unique_ptr<uint8_t[]> memory_;
  int width_;
  int height_;
};

Plane PlaneOf(const QmxImage& image, const FormatLayout& layout, int plane) {
  return {image.plane[plane], image.stride[plane], image.width / layout.subsampling[plane],
          image.height / layout.subsampling[plane]};
}

// Interleaved planes go first: they are the ones that need memory, and without it nothing has been written yet.
void Scale(const QmxImage& source, const QmxImage& destination, int32_t interpolation) {
  const FormatLayout layout = LayoutOf(source.format);
  for (int plane = layout.plane_count - 1; plane >= 0; --plane) {
    const Plane from = PlaneOf(source, layout, plane);
    const Plane to = PlaneOf(destination, layout, plane);
    const int channels = layout.channels[plane];
    if (channels == 1) {
      ScaleOneChannel(from, to, interpolation);
      continue;
    }
    const ChannelBuffers split(channels, from.width, from.height);
    const ChannelBuffers scaled(channels, to.width, to.height);
    split.Split(from, channels);
    for (int channel = 0; channel < channels; ++channel) {
      ScaleOneChannel(split[channel], scaled[channel], interpolation);
    }
    scaled.Merge(to, channels);
  }
}

}  // namespace
}  // namespace pexo::qmx

extern "C" [[gnu::visibility("default")]] int32_t qmxResize(const QmxImage* source, QmxImage* destination,
                                                            int32_t interpolation) try {
  using namespace pexo::qmx;
  if (!IsUsable(source) || !IsUsable(destination) || source->format != destination->format) return kBadArgument;
  if (interpolation < QMX_INTERPOLATION_NEAREST || interpolation > QMX_INTERPOLATION_BOX) return kBadArgument;
  for (const QmxImage* image : {source, static_cast<const QmxImage*>(destination)}) {
    if (image->width > kMaxScalableSize || image->height > kMaxScalableSize) return kBadArgument;
  }
  Scale(*source, *destination, interpolation);
  return kOk;
} catch (const std::bad_alloc&) {
  return pexo::qmx::kNoMemory;
}
