// SPDX-License-Identifier: Apache-2.0
#include "frame_conversion.h"

#include <libyuv.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include "media/frame_converter.h"

namespace pexo::portrait {
namespace {

// Full-range BT.601, as pictures have it and the library takes it; so are YUV pictures that state nothing else.
media::AvFrame Convert(const AVFrame& from, AVPixelFormat format, media::Size size) {
  constexpr AVColorSpace kBt601 = AVCOL_SPC_BT470BG;
  return media::FrameConverter().Convert(from, kBt601, {size.width, size.height, format, media::Levels::kFull, kBt601});
}

media::AvFrame Convert(const AVFrame& from, AVPixelFormat format) {
  return Convert(from, format, {from.width, from.height});
}

void FlattenOverWhite(AVFrame& rgba) {
  for (int y = 0; y < rgba.height; ++y) {
    uint8_t* pixel = rgba.data[0] + static_cast<std::ptrdiff_t>(y) * rgba.linesize[0];
    for (int x = 0; x < rgba.width; ++x, pixel += 4) {
      const int alpha = pixel[3];
      for (int c = 0; c < 3; ++c) pixel[c] = static_cast<uint8_t>((pixel[c] * alpha + 255 * (255 - alpha) + 127) / 255);
      pixel[3] = 255;
    }
  }
}

// Where a picture's pixels go when it is turned upright: column' = xx * column + yx * row, row' = xy * column + yy *
// row, up to an offset; each coefficient -1, 0 or 1.
struct Orientation {
  int xx = 1, xy = 0, yx = 0, yy = 1;
  bool IsUpright() const { return xx == 1 && yy == 1; }
};

Orientation OrientationOf(const AVFrame& picture) {
  const AVFrameSideData* data = av_frame_get_side_data(&picture, AV_FRAME_DATA_DISPLAYMATRIX);
  if (data == nullptr || data->size < 9 * sizeof(int32_t)) return {};
  int32_t matrix[9];
  std::memcpy(matrix, data->data, sizeof matrix);
  const auto sign = [](int32_t value) { return (value > 0) - (value < 0); };
  const Orientation orientation{sign(matrix[0]), sign(matrix[1]), sign(matrix[3]), sign(matrix[4])};
  const bool is_quarter_turns = std::abs(orientation.xx) == std::abs(orientation.yy) &&
                                std::abs(orientation.xy) == std::abs(orientation.yx) &&
                                std::abs(orientation.xx) + std::abs(orientation.xy) == 1;
  return is_quarter_turns ? orientation : Orientation{};
}

media::AvFrame TurnUpright(const AVFrame& rgba, const Orientation& o) {
  const bool swaps = o.xx == 0;
  media::AvFrame upright =
      media::NewFrame(swaps ? rgba.height : rgba.width, swaps ? rgba.width : rgba.height, AV_PIX_FMT_RGBA);
  const int left = std::min(o.xx * (rgba.width - 1), 0) + std::min(o.yx * (rgba.height - 1), 0);
  const int top = std::min(o.xy * (rgba.width - 1), 0) + std::min(o.yy * (rgba.height - 1), 0);
  for (int y = 0; y < rgba.height; ++y) {
    const uint8_t* source = rgba.data[0] + static_cast<std::ptrdiff_t>(y) * rgba.linesize[0];
    for (int x = 0; x < rgba.width; ++x, source += 4) {
      const std::ptrdiff_t row = o.xy * x + o.yy * y - top;
      const std::ptrdiff_t column = o.xx * x + o.yx * y - left;
      std::memcpy(upright->data[0] + row * upright->linesize[0] + column * 4, source, 4);
    }
  }
  return upright;
}

media::AvFrame PadToEven(const AVFrame& rgba) {
  media::AvFrame even = media::NewFrame(rgba.width + rgba.width % 2, rgba.height + rgba.height % 2, AV_PIX_FMT_RGBA);
  media::CopyAndPad({rgba.data[0], rgba.linesize[0], rgba.width, rgba.height},
                    {even->data[0], even->linesize[0], even->width, even->height}, 4);
  return even;
}

}  // namespace

void CopyToCamera(const AVFrame& planar, CameraFrame& camera) {
  libyuv::I420ToNV21(planar.data[0], planar.linesize[0], planar.data[1], planar.linesize[1], planar.data[2],
                     planar.linesize[2], camera.luma(), camera.width(), camera.chroma(), camera.width(), camera.width(),
                     camera.height());
}

media::AvFrame FrameFromCamera(CameraFrame& camera) {
  media::AvFrame planar = media::NewFrame(camera.width(), camera.height(), AV_PIX_FMT_YUV420P);
  libyuv::NV21ToI420(camera.luma(), camera.width(), camera.chroma(), camera.width(), planar->data[0],
                     planar->linesize[0], planar->data[1], planar->linesize[1], planar->data[2], planar->linesize[2],
                     camera.width(), camera.height());
  return planar;
}

CameraFrame FrameFromPicture(const AVFrame& picture, int column_multiple, std::optional<media::Size> size) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  const bool has_alpha = (format.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  const Orientation orientation = OrientationOf(picture);
  // Chroma that is not subsampled yet needs its 2x2 blocks complete.
  const bool lacks_pixels =
      (picture.width % 2 != 0 && format.log2_chroma_w == 0) || (picture.height % 2 != 0 && format.log2_chroma_h == 0);
  int width = picture.width;
  int height = picture.height;
  media::AvFrame rgba;
  if (has_alpha || lacks_pixels || !orientation.IsUpright()) {
    rgba = Convert(picture, AV_PIX_FMT_RGBA);
    if (has_alpha) FlattenOverWhite(*rgba);
    if (!orientation.IsUpright()) rgba = TurnUpright(*rgba, orientation);
    width = rgba->width;
    height = rgba->height;
    rgba = PadToEven(*rgba);
  }
  media::AvFrame planar = Convert(rgba != nullptr ? *rgba : picture, AV_PIX_FMT_YUV420P);
  planar->width = width;
  planar->height = height;
  if (size) planar = Convert(*planar, AV_PIX_FMT_YUV420P, *size);
  CameraFrame frame(planar->width, planar->height, column_multiple);
  CopyToCamera(*media::PadFrame(*planar, column_multiple), frame);
  return frame;
}

media::AvFrame PictureFromFrame(CameraFrame& frame, AVPixelFormat format) {
  const media::AvFrame planar = FrameFromCamera(frame);
  planar->color_range = AVCOL_RANGE_JPEG;
  media::AvFrame picture = Convert(*planar, format);
  picture->width = frame.picture_width();
  picture->height = frame.picture_height();
  return picture;
}

}  // namespace pexo::portrait
