// SPDX-License-Identifier: Apache-2.0
// Frames and mattes that the tests of the compositor draw, and what they measure on them.
#ifndef PEXO_TESTS_COMPOSITOR_SCENE_H_
#define PEXO_TESTS_COMPOSITOR_SCENE_H_

#include <pexo/compositor/frame.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include "compositor/composer.h"

namespace pexo::test {

using namespace compositor;

// A matte in the size of a frame: 0 background to 1 person.
struct Matte {
  int width, height;
  std::vector<float> values;

  Matte(int w, int h, float value = 0) : width(w), height(h), values(static_cast<size_t>(w * h), value) {}
  float& At(int x, int y) { return values[static_cast<size_t>(y * width + x)]; }
  float At(int x, int y) const { return values[static_cast<size_t>(y * width + x)]; }
};

// Distance to an ellipse in pixels, nearly; negative inside.
inline double EllipseDistance(double x, double y, double cx, double cy, double rx, double ry) {
  const double dx = (x - cx) / rx, dy = (y - cy) / ry;
  const double f = dx * dx + dy * dy - 1;
  return f / (2 * std::hypot(dx / rx, dy / ry) + 1e-9);
}

inline Matte Ellipse(int width, int height, double cx, double cy, double rx, double ry) {
  Matte matte(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      matte.At(x, y) = static_cast<float>(std::clamp(0.5 - EllipseDistance(x, y, cx, cy, rx, ry), 0.0, 1.0));
    }
  }
  return matte;
}

inline Matte Gaussian(const Matte& source, double sigma) {
  const int radius = static_cast<int>(3 * sigma);
  std::vector<double> kernel;
  for (int i = -radius; i <= radius; ++i) kernel.push_back(std::exp(-i * i / (2 * sigma * sigma)));
  Matte matte = source;
  for (const auto& [step_x, step_y] : {std::pair(1, 0), std::pair(0, 1)}) {
    const Matte from = matte;
    for (int y = 0; y < matte.height; ++y) {
      for (int x = 0; x < matte.width; ++x) {
        double sum = 0, weight = 0;
        for (int i = -radius; i <= radius; ++i) {
          const int sx = x + i * step_x, sy = y + i * step_y;
          if (sx < 0 || sy < 0 || sx >= matte.width || sy >= matte.height) continue;
          sum += kernel[static_cast<size_t>(i + radius)] * static_cast<double>(from.At(sx, sy));
          weight += kernel[static_cast<size_t>(i + radius)];
        }
        matte.At(x, y) = static_cast<float>(sum / weight);
      }
    }
  }
  return matte;
}

struct Yuv {
  double y, u, v;
};

// A frame that owns its pixels. Rows are `padding` bytes longer than need be.
class TestFrame {
 public:
  TestFrame(int width, int height, Layout layout = Layout::kI420, int padding = 0, Range range = Range::kFull,
            Matrix matrix = Matrix::kBt601) {
    const bool pairs = IsInterleaved(layout);
    size_t place[3] = {}, size = 0;
    for (size_t i = 0; i < (pairs ? 2 : 3); ++i) {
      place[i] = size;
      view_.stride[i] = (i == 0 || pairs ? width : width / 2) + padding;
      size += static_cast<size_t>(view_.stride[i] * (i == 0 ? height : height / 2));
    }
    pixels_.resize(size, 77);
    for (size_t i = 0; i < (pairs ? 2 : 3); ++i) view_.plane[i] = pixels_.data() + place[i];
    view_.width = width;
    view_.height = height;
    view_.layout = layout;
    view_.range = range;
    view_.matrix = matrix;
  }
  TestFrame(TestFrame&&) = default;
  TestFrame& operator=(TestFrame&&) = default;

  const Frame& view() const { return view_; }
  ConstFrame input() const { return AsConst(view_); }
  std::vector<uint8_t>& pixels() { return pixels_; }

  // Component 0 is Y at x, y of the luma grid; 1 and 2 are U and V at x, y of the chroma grid.
  uint8_t& At(int component, int x, int y) const {
    const Layout layout = view_.layout;
    if (component == 0) return view_.plane[0][y * view_.stride[0] + x];
    if (IsInterleaved(layout)) {
      const int second = (component == 2) == (layout == Layout::kNv12) ? 1 : 0;
      return view_.plane[1][y * view_.stride[1] + 2 * x + second];
    }
    const int plane = layout == Layout::kYv12 ? 3 - component : component;
    return view_.plane[plane][y * view_.stride[plane] + x];
  }

  // Calls `level` for each sample and rounds; chroma samples pass the luma position of their upper left pixel.
  void Paint(const std::function<Yuv(int x, int y)>& level) const {
    const auto byte = [](double value) { return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0))); };
    for (int y = 0; y < view_.height; ++y) {
      for (int x = 0; x < view_.width; ++x) {
        const Yuv yuv = level(x, y);
        At(0, x, y) = byte(yuv.y);
        if (x % 2 != 0 || y % 2 != 0) continue;
        At(1, x / 2, y / 2) = byte(yuv.u);
        At(2, x / 2, y / 2) = byte(yuv.v);
      }
    }
  }

 private:
  Frame view_;
  std::vector<uint8_t> pixels_;
};

// Calls function(component, x, y) for every sample of a frame, as TestFrame::At takes them.
inline void ForEachSample(const TestFrame& frame, const auto& function) {
  for (int c = 0; c < 3; ++c) {
    for (int y = 0; y < frame.view().height >> (c > 0); ++y) {
      for (int x = 0; x < frame.view().width >> (c > 0); ++x) function(c, x, y);
    }
  }
}

// The same picture in another layout.
inline TestFrame Copy(const TestFrame& source, Layout layout, int padding = 0) {
  const Frame& view = source.view();
  TestFrame copy(view.width, view.height, layout, padding, view.range, view.matrix);
  ForEachSample(copy, [&](int c, int x, int y) { copy.At(c, x, y) = source.At(c, x, y); });
  return copy;
}

inline TestFrame Copy(const TestFrame& source) {
  return Copy(source, source.view().layout);
}

inline bool SamePicture(const TestFrame& a, const TestFrame& b) {
  bool same = true;
  ForEachSample(a, [&](int c, int x, int y) { same = same && a.At(c, x, y) == b.At(c, x, y); });
  return same;
}

inline void AddNoise(const TestFrame& frame, double sigma, uint32_t seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> noise(0, sigma);
  ForEachSample(frame, [&](int c, int x, int y) {
    frame.At(c, x, y) = static_cast<uint8_t>(std::clamp(frame.At(c, x, y) + std::lround(noise(random)), 0L, 255L));
  });
}

// The small picture of a frame, and `matte` shrunk in place of the model's mask.
inline Segmentation Segmented(const TestFrame& frame, const Matte& matte, int width = 256, int height = 144) {
  Segmentation result;
  result.picture.Resize(width, height);
  Scaler().Scale(frame.input(), result.picture);
  result.mask.Resize(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int left = x * matte.width / width, right = std::max(left + 1, (x + 1) * matte.width / width);
      const int top = y * matte.height / height, bottom = std::max(top + 1, (y + 1) * matte.height / height);
      double sum = 0;
      for (int sy = top; sy < bottom; ++sy) {
        for (int sx = left; sx < right; ++sx) sum += static_cast<double>(matte.At(sx, sy));
      }
      result.mask.Row(y)[x] = static_cast<uint8_t>(std::lround(255 * sum / ((right - left) * (bottom - top))));
    }
  }
  return result;
}

// A frame by itself before a background.
inline TestFrame Composed(const TestFrame& frame, const Matte& matte, const Background& background,
                          Composer&& composer = Composer(Edges::kModel, 0, 0)) {
  composer.backdrop().Set(background);
  TestFrame out = Copy(frame);
  composer.Compose(frame.input(), Segmented(frame, matte), out.view());
  return out;
}

inline double Iou(const Plane<uint8_t>& a, const Plane<uint8_t>& b) {
  double both = 0, any = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      both += a.Row(y)[x] >= 128 && b.Row(y)[x] >= 128;
      any += a.Row(y)[x] >= 128 || b.Row(y)[x] >= 128;
    }
  }
  return any == 0 ? 1 : both / any;
}

inline Plane<uint8_t> CopyOf(const Plane<uint8_t>& source) {
  Plane<uint8_t> copy(source.width(), source.height());
  for (int y = 0; y < source.height(); ++y) std::copy_n(source.Row(y), source.width(), copy.Row(y));
  return copy;
}

}  // namespace pexo::test

#endif  // PEXO_TESTS_COMPOSITOR_SCENE_H_
