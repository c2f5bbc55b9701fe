// SPDX-License-Identifier: Apache-2.0
#include "planar_picture.h"

#include <libyuv.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "frame_rows.h"

namespace pexo::compositor {
namespace {

struct LumaShares {
  double red, blue;
};

LumaShares SharesOf(Matrix matrix) {
  return matrix == Matrix::kBt601 ? LumaShares{0.299, 0.114} : LumaShares{0.2126, 0.0722};
}

struct Scales {
  double black, luma, chroma;
};

Scales ScalesOf(Range range) {
  return range == Range::kFull ? Scales{0, 255, 255} : Scales{16, 219, 224};
}

using Matrix3 = std::array<std::array<double, 3>, 3>;

// From Y of 0..1 and U, V of -0.5..0.5 to R, G, B of 0..1.
Matrix3 RgbFromYuv(Matrix matrix) {
  const auto [red, blue] = SharesOf(matrix);
  const double green = 1 - red - blue;
  return {{{1, 0, 2 * (1 - red)},
           {1, -2 * (1 - blue) * blue / green, -2 * (1 - red) * red / green},
           {1, 2 * (1 - blue), 0}}};
}

Matrix3 YuvFromRgbMatrix(Matrix matrix) {
  const auto [red, blue] = SharesOf(matrix);
  const double green = 1 - red - blue;
  const double u = 0.5 / (1 - blue), v = 0.5 / (1 - red);
  return {{{red, green, blue}, {-red * u, -green * u, (1 - blue) * u}, {(1 - red) * v, -green * v, -blue * v}}};
}

uint8_t ToByte(double value) {
  return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

uint8_t ToByte(int q14) {
  return static_cast<uint8_t>(std::clamp((q14 + (1 << 13)) >> 14, 0, 255));
}

}  // namespace

void PlanarPicture::Resize(int width, int height) {
  y.Resize(width, height);
  u.Resize(width / 2, height / 2);
  v.Resize(width / 2, height / 2);
}

void Scaler::Scale(const ConstFrame& frame, PlanarPicture& out) {
  Scale(frame, {0, 0, frame.width, frame.height}, out);
}

void Scaler::Scale(const ConstFrame& frame, const Rectangle& part, PlanarPicture& out) {
  const auto scale = [](const uint8_t* source, ptrdiff_t stride, int width, int height, Plane<uint8_t>& plane) {
    libyuv::ScalePlane(source, static_cast<int>(stride), width, height, plane.Row(0), static_cast<int>(plane.stride()),
                       plane.width(), plane.height(), libyuv::kFilterBox);
  };
  scale(frame.plane[0] + part.y * frame.stride[0] + part.x, frame.stride[0], part.width, part.height, out.y);
  const int width = part.width / 2, height = part.height / 2;
  if (IsInterleaved(frame.layout)) {
    split_.Resize(width, 2 * height);
    const int stride = static_cast<int>(split_.stride());
    uint8_t* first = split_.Row(0);
    uint8_t* second = split_.Row(height);
    libyuv::SplitUVPlane(frame.plane[1] + part.y / 2 * frame.stride[1] + part.x, static_cast<int>(frame.stride[1]),
                         first, stride, second, stride, width, height);
    const bool u_first = frame.layout == Layout::kNv12;
    scale(first, stride, width, height, u_first ? out.u : out.v);
    scale(second, stride, width, height, u_first ? out.v : out.u);
  } else {
    const bool u_first = frame.layout == Layout::kI420;
    for (const int i : {1, 2}) {
      scale(frame.plane[i] + part.y / 2 * frame.stride[i] + part.x / 2, frame.stride[i], width, height,
            (i == 1) == u_first ? out.u : out.v);
    }
  }
  out.range = frame.range;
  out.matrix = frame.matrix;
}

Rectangle CoveringPart(int picture_width, int picture_height, int width, int height) {
  const double scale =
      std::max(static_cast<double>(width) / picture_width, static_cast<double>(height) / picture_height);
  const auto side = [scale](int target, int whole) {
    return std::clamp(static_cast<int>(std::lround(target / scale / 2)) * 2, 2, whole);
  };
  const int part_width = side(width, picture_width), part_height = side(height, picture_height);
  return {(picture_width - part_width) / 4 * 2, (picture_height - part_height) / 4 * 2, part_width, part_height};
}

void Turn(const Plane<uint8_t>& source, int degrees, Plane<uint8_t>& out) {
  libyuv::RotatePlane(source.Row(0), static_cast<int>(source.stride()), out.Row(0), static_cast<int>(out.stride()),
                      source.width(), source.height(), static_cast<libyuv::RotationMode>(degrees));
}

void ConvertColour(PlanarPicture& picture, Range range, Matrix matrix) {
  if (picture.range == range && picture.matrix == matrix) return;
  const Matrix3 to_rgb = RgbFromYuv(picture.matrix), from_rgb = YuvFromRgbMatrix(matrix);
  const Scales source = ScalesOf(picture.range), target = ScalesOf(range);
  // Bytes to bytes in Q14. The luma's share in chroma is 0: grey stays grey.
  int factor[3][3];
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) {
      double sum = 0;
      for (size_t k = 0; k < 3; ++k) sum += from_rgb[i][k] * to_rgb[k][j];
      const double gain = (i == 0 ? target.luma : target.chroma) / (j == 0 ? source.luma : source.chroma);
      factor[i][j] = static_cast<int>(std::lround(sum * gain * (1 << 14)));
    }
  }
  const int luma_offset = static_cast<int>(target.black * (1 << 14)) - factor[0][0] * static_cast<int>(source.black);
  const int middle = 128 << 14;
  for (int row = 0; row < picture.u.height(); ++row) {
    uint8_t* u = picture.u.Row(row);
    uint8_t* v = picture.v.Row(row);
    uint8_t* luma[] = {picture.y.Row(2 * row), picture.y.Row(2 * row + 1)};
    for (int x = 0; x < picture.u.width(); ++x) {
      const int from_u = u[x] - 128, from_v = v[x] - 128;
      const int offset = luma_offset + factor[0][1] * from_u + factor[0][2] * from_v;
      for (uint8_t* y : luma) {
        y[2 * x] = ToByte(offset + factor[0][0] * y[2 * x]);
        y[2 * x + 1] = ToByte(offset + factor[0][0] * y[2 * x + 1]);
      }
      u[x] = ToByte(middle + factor[1][1] * from_u + factor[1][2] * from_v);
      v[x] = ToByte(middle + factor[2][1] * from_u + factor[2][2] * from_v);
    }
  }
  picture.range = range;
  picture.matrix = matrix;
}

YuvColour YuvFromRgb(int red, int green, int blue, Range range, Matrix matrix) {
  const Matrix3 m = YuvFromRgbMatrix(matrix);
  const Scales scales = ScalesOf(range);
  const auto mix = [&](size_t i) { return (m[i][0] * red + m[i][1] * green + m[i][2] * blue) / 255; };
  return {ToByte(scales.black + scales.luma * mix(0)), ToByte(128 + scales.chroma * mix(1)),
          ToByte(128 + scales.chroma * mix(2))};
}

}  // namespace pexo::compositor
