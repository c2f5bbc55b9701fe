// SPDX-License-Identifier: Apache-2.0
#include <qmx/qmx_image.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "bilinear.h"
#include "image_layout.h"

namespace pexo::qmx {
namespace {

// The scalers' fixed-point places reach no further. A frame of which every plane can be addressed is always smaller.
constexpr int32_t kMaxSide = (1 << 30) - 1;

void CopyRows(const Plane& source, const Plane& destination) {
  const auto row_bytes = static_cast<std::size_t>(source.width) * source.channels;
  for (int y = 0; y < source.height; ++y) std::memcpy(destination.Row(y), source.Row(y), row_bytes);
}

void ScaleNearest(const Plane& source, const Plane& destination) {
  const auto nearest = [](int64_t index, int source_size, int size) {
    return (2 * index + 1) * source_size / (2 * size);
  };
  for (int y = 0; y < destination.height; ++y) {
    const uint8_t* row = source.Row(nearest(y, source.height, destination.height));
    uint8_t* samples = destination.Row(y);
    for (int x = 0; x < destination.width; ++x) {
      const uint8_t* pixel = row + nearest(x, source.width, destination.width) * source.channels;
      samples = std::copy_n(pixel, source.channels, samples);
    }
  }
}

// The pixels of the source that a destination pixel covers, and what of each, in parts of 1 / size.
struct Cover {
  Cover(int64_t index, int source_size, int destination_size)
      : start(index * source_size),
        end(start + source_size),
        size(destination_size),
        first(start / size),
        last((end - 1) / size) {}

  int64_t Share(int64_t pixel) const { return std::min(end, (pixel + 1) * size) - std::max(start, pixel * size); }

  int64_t start;
  int64_t end;
  int64_t size;
  int64_t first;
  int64_t last;
};

void ScaleByMean(const Plane& source, const Plane& destination) {
  const int channels = source.channels;
  const int64_t area = int64_t{source.width} * source.height;  // of a destination pixel
  for (int y = 0; y < destination.height; ++y) {
    const Cover rows(y, source.height, destination.height);
    for (int i = 0; i < destination.width * channels; ++i) {
      const Cover columns(i / channels, source.width, destination.width);
      int64_t sum = area / 2;  // at most 255.5 * 2^31
      for (int64_t row = rows.first; row <= rows.last; ++row) {
        const uint8_t* samples = source.Row(row) + i % channels;
        int64_t row_sum = 0;
        for (int64_t x = columns.first; x <= columns.last; ++x) row_sum += samples[x * channels] * columns.Share(x);
        sum += row_sum * rows.Share(row);
      }
      destination.Row(y)[i] = static_cast<uint8_t>(sum / area);
    }
  }
}

Plane PlaneOf(const QmxImage& image, const FormatLayout& layout, int plane) {
  return {image.plane[plane], image.stride[plane], image.width / layout.subsampling[plane],
          image.height / layout.subsampling[plane], layout.channels[plane]};
}

void Scale(const Plane& source, const Plane& destination, int32_t interpolation) {
  if (source.width == destination.width && source.height == destination.height) {
    CopyRows(source, destination);
  } else if (interpolation == QMX_INTERPOLATION_NEAREST) {
    ScaleNearest(source, destination);
  } else if (interpolation == QMX_INTERPOLATION_BOX) {
    ScaleByMean(source, destination);
  } else {
    ScaleBilinear(source, destination, interpolation == QMX_INTERPOLATION_BILINEAR);
  }
}

}  // namespace
}  // namespace pexo::qmx

extern "C" [[gnu::visibility("default")]] int32_t qmxResize(const QmxImage* source, QmxImage* destination,
                                                            int32_t interpolation) {
  using namespace pexo::qmx;
  if (!IsUsable(source) || !IsUsable(destination) || source->format != destination->format) return kBadArgument;
  if (interpolation < QMX_INTERPOLATION_NEAREST || interpolation > QMX_INTERPOLATION_BOX) return kBadArgument;
  for (const QmxImage* image : {source, static_cast<const QmxImage*>(destination)}) {
    if (image->width > kMaxSide || image->height > kMaxSide) return kBadArgument;
  }
  const FormatLayout layout = LayoutOf(source->format);
  for (int plane = 0; plane < layout.plane_count; ++plane) {
    Scale(PlaneOf(*source, layout, plane), PlaneOf(*destination, layout, plane), interpolation);
  }
  return kOk;
}
