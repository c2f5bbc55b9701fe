#include "frame_conversion.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include "common/failure.h"

namespace pexo::portrait {
namespace {

// FFmpeg's buffers have room after every row, which its vector code needs.
AvFrame NewFrame(int width, int height, AVPixelFormat format) {
  AvFrame frame = Own(av_frame_alloc());
  frame->width = width;
  frame->height = height;
  frame->format = format;
  frame->color_range = AVCOL_RANGE_JPEG;
  frame->colorspace = AVCOL_SPC_BT470BG;  // BT.601
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
  return frame;
}

bool IsRgb(const AVFrame& frame) {
  return (av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

bool IsFullRange(const AVFrame& frame) {
  switch (frame.format) {
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ444P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ411P:
      return true;
    default:
      return frame.color_range == AVCOL_RANGE_JPEG;
  }
}

const int* MatrixOf(const AVFrame& frame) {
  const bool stated = !IsRgb(frame) && frame.colorspace != AVCOL_SPC_UNSPECIFIED && frame.colorspace != AVCOL_SPC_RGB;
  return sws_getCoefficients(stated ? static_cast<int>(frame.colorspace) : SWS_CS_ITU601);
}

AvFrame Convert(const AVFrame& from, AVPixelFormat format) {
  AvFrame to = NewFrame(from.width, from.height, format);
  const AvScaler scaler = Own(sws_alloc_context());
  // The ranges before sws_init_context, which otherwise settles on a copy that leaves the levels as they are.
  const std::pair<const char*, int64_t> settings[] = {
      {"srcw", from.width},
      {"srch", from.height},
      {"src_format", from.format},
      {"src_range", IsFullRange(from) ? 1 : 0},
      {"dstw", to->width},
      {"dsth", to->height},
      {"dst_format", format},
      {"dst_range", 1},
      // Area: chroma is the mean of the pixels it stands for, and is interpolated on the way back.
      {"sws_flags", SWS_AREA | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT | SWS_BITEXACT},
  };
  for (const auto& [name, value] : settings) av_opt_set_int(scaler.get(), name, value, 0);
  if (sws_init_context(scaler.get(), nullptr, nullptr) < 0) {
    throw tools::Failure("pictures of this pixel format cannot be converted");
  }
  constexpr int kUnity = 1 << 16;
  sws_setColorspaceDetails(scaler.get(), MatrixOf(from), IsFullRange(from) ? 1 : 0, MatrixOf(*to), 1, 0, kUnity,
                           kUnity);
  if (sws_scale(scaler.get(), from.data, from.linesize, 0, from.height, to->data, to->linesize) != to->height) {
    throw tools::Failure("the picture cannot be converted");
  }
  return to;
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

AvFrame TurnUpright(const AVFrame& rgba, const Orientation& o) {
  const bool swaps = o.xx == 0;
  AvFrame upright = NewFrame(swaps ? rgba.height : rgba.width, swaps ? rgba.width : rgba.height, AV_PIX_FMT_RGBA);
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

// A plane of units (pixels, or pairs of chroma samples), its stride in bytes.
struct Plane {
  uint8_t* data;
  int stride;
  int columns;
  int rows;
};

// Copies a plane into the upper left of one that is no smaller, and repeats its last column and row in the rest.
void CopyAndPad(const Plane& from, const Plane& to, int unit_bytes) {
  for (int y = 0; y < to.rows; ++y) {
    uint8_t* row = to.data + static_cast<std::ptrdiff_t>(y) * to.stride;
    const uint8_t* source = from.data + static_cast<std::ptrdiff_t>(std::min(y, from.rows - 1)) * from.stride;
    std::memcpy(row, source, static_cast<std::size_t>(from.columns) * unit_bytes);
    for (int x = from.columns; x < to.columns; ++x) {
      std::memcpy(row + static_cast<std::ptrdiff_t>(x) * unit_bytes,
                  source + static_cast<std::ptrdiff_t>(from.columns - 1) * unit_bytes,
                  static_cast<std::size_t>(unit_bytes));
    }
  }
}

AvFrame PadToEven(const AVFrame& rgba) {
  AvFrame even = NewFrame(rgba.width + rgba.width % 2, rgba.height + rgba.height % 2, AV_PIX_FMT_RGBA);
  CopyAndPad({rgba.data[0], rgba.linesize[0], rgba.width, rgba.height},
             {even->data[0], even->linesize[0], even->width, even->height}, 4);
  return even;
}

}  // namespace

CameraFrame FrameFromPicture(const AVFrame& picture, int column_multiple) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  const bool has_alpha = (format.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  const Orientation orientation = OrientationOf(picture);
  // Chroma that is not subsampled yet needs its 2x2 blocks complete.
  const bool lacks_pixels =
      (picture.width % 2 != 0 && format.log2_chroma_w == 0) || (picture.height % 2 != 0 && format.log2_chroma_h == 0);
  int width = picture.width;
  int height = picture.height;
  AvFrame rgba;
  if (has_alpha || lacks_pixels || !orientation.IsUpright()) {
    rgba = Convert(picture, AV_PIX_FMT_RGBA);
    if (has_alpha) FlattenOverWhite(*rgba);
    if (!orientation.IsUpright()) rgba = TurnUpright(*rgba, orientation);
    width = rgba->width;
    height = rgba->height;
    rgba = PadToEven(*rgba);
  }
  const AvFrame nv21 = Convert(rgba != nullptr ? *rgba : picture, AV_PIX_FMT_NV21);
  CameraFrame frame(width, height, column_multiple);
  CopyAndPad({nv21->data[0], nv21->linesize[0], width, height},
             {frame.luma(), frame.width(), frame.width(), frame.height()}, 1);
  CopyAndPad({nv21->data[1], nv21->linesize[1], (width + 1) / 2, (height + 1) / 2},
             {frame.chroma(), frame.width(), frame.width() / 2, frame.height() / 2}, 2);
  return frame;
}

AvFrame PictureFromFrame(CameraFrame& frame, AVPixelFormat format) {
  const AvFrame nv21 = NewFrame(frame.width(), frame.height(), AV_PIX_FMT_NV21);
  CopyAndPad({frame.luma(), frame.width(), frame.width(), frame.height()},
             {nv21->data[0], nv21->linesize[0], frame.width(), frame.height()}, 1);
  CopyAndPad({frame.chroma(), frame.width(), frame.width() / 2, frame.height() / 2},
             {nv21->data[1], nv21->linesize[1], frame.width() / 2, frame.height() / 2}, 2);
  AvFrame picture = Convert(*nv21, format);
  picture->width = frame.picture_width();
  picture->height = frame.picture_height();
  return picture;
}

}  // namespace pexo::portrait
