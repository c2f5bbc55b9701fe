// SPDX-License-Identifier: Apache-2.0
// Compiled once for each instruction set; the best that the processor has is chosen at run time.
#include "bilinear.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "bilinear.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace pexo::qmx::HWY_NAMESPACE {
namespace {

constexpr int kMaxLanes = 32;  // of 16 bits in a vector
// A picture is scaled in strips of columns, whose tables and rows fit the stack and the nearest cache.
constexpr int kStripLanes = 2048;
// Besides the last vector's rest, this keeps what is read and what is written at the same column of two rows from lying
// a multiple of 4096 bytes apart, which processors take for the same place.
constexpr int kPaddedLanes = kStripLanes + 512;
constexpr int kWindowBytes = 16;  // that a table lookup reaches

// The places of a side's pixels in the source, in 1/32768 of its pixels.
class Places {
 public:
  Places(int source_size, int size)
      : step_((((int64_t{source_size} << 33) / size) + 1) >> 1), last_((int64_t{source_size} - 1) << 15) {}

  int64_t operator[](int index) const {
    const int64_t place = ((2 * index + 1) * step_ - (int64_t{1} << 32) + (1 << 17)) >> 18;
    return std::clamp<int64_t>(place, 0, last_);
  }

 private:
  int64_t step_;
  int64_t last_;
};

// Samples between two rows are kept in 1/128 of a level, and half a level more for the rounding to come: 64 to 32704,
// so that they and their differences fit 16 bits.
constexpr int16_t kHalfLevel = 64;

#if HWY_TARGET == HWY_SCALAR

int VectorLanes() {
  return 1;
}

int Between(int a, int b, int weight) {
  return a + (((b - a) * weight + 0x4000) >> 15);
}

// Goes from the left sample of each pair, its low byte, towards the right one.
void ScalePairs(const uint16_t* pairs, const int16_t* weights, int lanes, int16_t* samples) {
  for (int i = 0; i < lanes; ++i) {
    const int left = pairs[i] & 0xFF, right = pairs[i] >> 8;
    samples[i] = static_cast<int16_t>(Between(128 * left, 128 * right, weights[i]) + kHalfLevel);
  }
}

// Goes from one row of samples towards another, and rounds.
void BlendRows(const int16_t* top, const int16_t* bottom, int32_t weight, int lanes, uint8_t* destination) {
  for (int i = 0; i < lanes; ++i) destination[i] = static_cast<uint8_t>(Between(top[i], bottom[i], weight) >> 7);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using Vector = hn::CappedTag<int16_t, kMaxLanes>;

int VectorLanes() {
  return static_cast<int>(hn::Lanes(Vector()));
}

template <class V>
V Between(V a, V b, V weight) {
  return hn::Add(a, hn::MulFixedPoint15(hn::Sub(b, a), weight));
}

template <class D, class V>
void ScalePairs(D d, V pairs, const int16_t* weights, int16_t* samples) {
  const hn::RebindToUnsigned<D> du;
  const auto left = hn::BitCast(d, hn::ShiftLeft<7>(hn::And(pairs, hn::Set(du, 0xFF))));
  const auto right = hn::BitCast(d, hn::And(hn::ShiftRight<1>(pairs), hn::Set(du, 0x7F80)));
  const auto sample = Between(left, right, hn::LoadU(d, weights));
  hn::StoreU(hn::Add(sample, hn::Set(d, kHalfLevel)), d, samples);
}

// Goes from the left sample of each pair, its low byte, towards the right one.
void ScalePairs(const uint16_t* pairs, const int16_t* weights, int lanes, int16_t* samples) {
  const Vector d;
  const hn::RebindToUnsigned<Vector> du;
  for (int i = 0; i < lanes; i += VectorLanes()) ScalePairs(d, hn::LoadU(du, pairs + i), weights + i, samples + i);
}

// As ScalePairs, but each vector's samples lie in a window of the row and are fetched by their places there.
template <class D>
void ScaleWindows(D d, const uint8_t* row, const int32_t* windows, const uint16_t* pairs, const int16_t* weights,
                  int lanes, int16_t* samples) {
  const hn::Repartition<uint8_t, D> bytes;
  const hn::RebindToUnsigned<D> du;
  for (int i = 0; i < lanes; i += static_cast<int>(hn::Lanes(d))) {
    const auto window = hn::LoadDup128(bytes, row + *windows++);
    const auto places = hn::BitCast(bytes, hn::LoadU(du, pairs + i));
    ScalePairs(d, hn::BitCast(du, hn::TableLookupBytes(window, places)), weights + i, samples + i);
  }
}

// Goes from one row of samples towards another, and rounds.
void BlendRows(const int16_t* top, const int16_t* bottom, int32_t weight, int lanes, uint8_t* destination) {
  const Vector d;
  const hn::Repartition<uint8_t, Vector> bytes;
  const auto bottom_weight = hn::Set(d, static_cast<int16_t>(weight));
  const auto blend = [&](int lane) HWY_ATTR {
    const auto sample = Between(hn::LoadU(d, top + lane), hn::LoadU(d, bottom + lane), bottom_weight);
    return hn::BitCast(bytes, hn::ShiftRight<7>(sample));
  };
  const auto store = [&](int lane, uint8_t* to) HWY_ATTR {
    hn::StoreU(hn::ConcatEven(bytes, blend(lane + VectorLanes()), blend(lane)), bytes, to);
  };
  const int step = 2 * VectorLanes();
  int lane = 0;
  for (; lane + step <= lanes; lane += step) store(lane, destination + lane);
  if (lane == lanes) return;
  uint8_t rest[2 * kMaxLanes];
  store(lane, rest);
  std::memcpy(destination + lane, rest, static_cast<std::size_t>(lanes - lane));
}

#endif

// A strip of columns of the destination, and what its samples take from a row of the source.
class Strip {
 public:
  Strip(const Plane& source, const Plane& destination, int first, int width)
      : source_(source),
        destination_(destination),
        channels_(source.channels),
        row_bytes_(source.width * source.channels),
        first_(first * source.channels),
        lanes_(width * source.channels) {
    const Places places(source.width, destination.width);
    WithChannels([&](auto channels) {
      for (int x = 0, lane = 0; x < width; ++x) {
        const int64_t place = places[first + x];
        for (int channel = 0; channel < channels; ++channel, ++lane) {
          left_[lane] = static_cast<int32_t>(place >> 15) * channels + channel;
          weight_[lane] = static_cast<int16_t>(place & 0x7FFF);
        }
      }
    });
    std::fill_n(left_ + lanes_, 2 * kMaxLanes, left_[lanes_ - 1]);
    std::fill_n(weight_ + lanes_, 2 * kMaxLanes, int16_t{0});
    paired_ = lanes_;
    while (paired_ > 0 && left_[paired_ - 1] + channels_ >= row_bytes_) --paired_;
    window_lanes_ = VectorLanes();
    while (window_lanes_ >= 8 && !FitsWindow()) window_lanes_ /= 2;
    if (window_lanes_ >= 8) PlaceWindows();
  }

  void Scale(bool blend_rows) {
    const Places places(source_.height, destination_.height);
    for (int y = 0; y < destination_.height; ++y) {
      const int64_t place = blend_rows ? places[y] : (places[y] + 0x4000) & ~int64_t{0x7FFF};
      const auto row = static_cast<int>(place >> 15);
      const auto weight = static_cast<int32_t>(place & 0x7FFF);
      const int16_t* top = ScaledRow(row);
      const int16_t* bottom = weight == 0 ? top : ScaledRow(row + 1);
      BlendRows(top, bottom, weight, lanes_, destination_.Row(y) + first_);
    }
  }

 private:
  // Gives the loops over grey pixels their stride as a constant.
  template <class Function>
  void WithChannels(Function function) const {
    channels_ == 1 ? function(std::integral_constant<int, 1>()) : function(channels_);
  }

  // Whether what any vector of `window_lanes_` samples takes is sure to lie in one window.
  bool FitsWindow() const {
    if (row_bytes_ < kWindowBytes) return false;
    const int pixels = window_lanes_ / channels_ + (window_lanes_ % channels_ == 0 ? 0 : 2);
    return (int64_t{pixels - 1} * source_.width / destination_.width + 3) * channels_ <= kWindowBytes;
  }

  // Windows begin with a pixel, or end with the row.
  void PlaceWindows() {
    for (int lane = 0; lane < lanes_; lane += window_lanes_) {
      const int start = std::min(left_[lane] - left_[lane] % channels_, row_bytes_ - kWindowBytes);
      window_[lane / window_lanes_] = start;
      for (int i = lane; i < lane + window_lanes_; ++i) {
        const int left = left_[i] - start, right = i < paired_ ? left + channels_ : left;
        pair_[i] = static_cast<uint16_t>(left | right << 8);
      }
    }
  }

  // A row of the source, scaled. The last even one and the last odd one are kept.
  const int16_t* ScaledRow(int y) {
    int16_t* samples = rows_[y & 1];
    if (held_[y & 1] == y) return samples;
    held_[y & 1] = y;
    const uint8_t* row = source_.Row(y);
#if HWY_TARGET != HWY_SCALAR
    const auto scale = [&](auto d) HWY_ATTR { ScaleWindows(d, row, window_, pair_, weight_, lanes_, samples); };
    if (window_lanes_ >= 8) {
      if (window_lanes_ == 32) scale(hn::CappedTag<int16_t, 32>());
      if (window_lanes_ == 16) scale(hn::CappedTag<int16_t, 16>());
      if (window_lanes_ == 8) scale(hn::CappedTag<int16_t, 8>());
      return samples;
    }
#endif
    WithChannels([&](auto channels) {
      for (int i = 0; i < paired_; ++i) {
        pair_[i] = static_cast<uint16_t>(row[left_[i]] | row[left_[i] + channels] << 8);
      }
    });
    for (int i = paired_; i < lanes_; ++i) pair_[i] = static_cast<uint16_t>(row[left_[i]] * 0x101);
    ScalePairs(pair_, weight_, lanes_, samples);
    return samples;
  }

  const Plane& source_;
  const Plane& destination_;
  int channels_;
  int row_bytes_;
  int first_;
  int lanes_;
  int paired_;        // samples with a pixel to the right of the one they start from
  int window_lanes_;  // below 8: windows do not reach far enough, and `pair_` is filled from each row
  int held_[2] = {-1, -1};
  // Up to two vectors longer than the strip.
  alignas(64) int16_t rows_[2][kPaddedLanes];
  int16_t weight_[kPaddedLanes];
  uint16_t pair_[kPaddedLanes];
  int32_t left_[kPaddedLanes];
  int32_t window_[kPaddedLanes / 8];
};

#if HWY_TARGET != HWY_SCALAR

// The rounded mean of four samples, from rounded means of two: they err upwards where a sum is odd.
template <class V>
V MeanOfFour(V a, V b, V c, V d) {
  const V top = hn::AverageRound(a, b), bottom = hn::AverageRound(c, d);
  const V odd = hn::And(hn::Or(hn::Xor(a, b), hn::Xor(c, d)), hn::Xor(top, bottom));
  return hn::Sub(hn::AverageRound(top, bottom), hn::And(odd, hn::Set(hn::DFromV<V>(), 1)));
}

// Scales to every second or fourth pixel, whose places are the middles of four pixels. A `Pixel` holds its channels.
template <int kRatio, typename Pixel>
void ScaleToMiddles(const Plane& source, const Plane& destination) {
  const hn::CappedTag<Pixel, 2 * kMaxLanes / sizeof(Pixel)> d;
  const hn::Repartition<uint8_t, decltype(d)> bytes;
  const int step = static_cast<int>(hn::Lanes(d));
  const auto load = [&](const uint8_t* row, int x, auto& left, auto& right) HWY_ATTR {
    const auto* pixels = reinterpret_cast<const Pixel*>(row) + std::ptrdiff_t{x} * kRatio;
    auto a = hn::Zero(d), b = a, unused = a;
    if constexpr (kRatio == 2) hn::LoadInterleaved2(d, pixels, a, b);
    if constexpr (kRatio == 4) hn::LoadInterleaved4(d, pixels, unused, a, b, unused);
    left = hn::BitCast(bytes, a);
    right = hn::BitCast(bytes, b);
  };
  for (int y = 0; y < destination.height; ++y) {
    const uint8_t* top = source.Row(int64_t{y} * kRatio + kRatio / 2 - 1);
    for (int i = 0; i < destination.width; i += step) {
      const int x = std::min(i, destination.width - step);
      auto a = hn::Zero(bytes), b = a, c = a, e = a;
      load(top, x, a, b);
      load(top + source.stride, x, c, e);
      hn::StoreU(MeanOfFour(a, b, c, e), bytes, destination.Row(y) + x * static_cast<int>(sizeof(Pixel)));
    }
  }
}

#endif

void Scale(const Plane& source, const Plane& destination, bool blend_rows) {
  const int channels = source.channels;
#if HWY_TARGET != HWY_SCALAR
  const auto shrinks_by = [&](int ratio) {
    return blend_rows && source.width == ratio * destination.width && source.height == ratio * destination.height &&
           destination.width * channels >= 2 * kMaxLanes;
  };
  if (channels == 1 && shrinks_by(2)) return ScaleToMiddles<2, uint8_t>(source, destination);
  if (channels == 1 && shrinks_by(4)) return ScaleToMiddles<4, uint8_t>(source, destination);
  if (channels == 2 && shrinks_by(2)) return ScaleToMiddles<2, uint16_t>(source, destination);
  if (channels == 2 && shrinks_by(4)) return ScaleToMiddles<4, uint16_t>(source, destination);
#endif
  for (int x = 0; x < destination.width; x += kStripLanes / channels) {
    Strip(source, destination, x, std::min(kStripLanes / channels, destination.width - x)).Scale(blend_rows);
  }
}

}  // namespace
}  // namespace pexo::qmx::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pexo::qmx {

HWY_EXPORT(Scale);

void ScaleBilinear(const Plane& source, const Plane& destination, bool blend_rows) {
  HWY_DYNAMIC_DISPATCH(Scale)(source, destination, blend_rows);
}

}  // namespace pexo::qmx
#endif
