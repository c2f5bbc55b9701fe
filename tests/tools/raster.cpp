#include "tests/tools/raster.h"

#include <cmath>
#include <cstring>
#include <stdexcept>

#include "tools/portrait/av_types.h"

namespace pexo::test {
namespace {

using namespace pexo::portrait;

// swscale warns of the pixel formats of JPEG files.
[[maybe_unused]] const bool kIsQuiet = (av_log_set_level(AV_LOG_ERROR), true);

void Check(bool good, const char* what) {
  if (!good) throw std::runtime_error(what);
}

AvFrame NewFrame(int width, int height, AVPixelFormat format) {
  AvFrame frame = Own(av_frame_alloc());
  frame->width = width;
  frame->height = height;
  frame->format = format;
  Check(av_frame_get_buffer(frame.get(), 0) == 0, "no memory for a frame");
  return frame;
}

AvFrame Scale(const AVFrame& from, AVPixelFormat format) {
  AvFrame to = NewFrame(from.width, from.height, format);
  const AvScaler scaler(sws_getContext(
      from.width, from.height, static_cast<AVPixelFormat>(from.format), from.width, from.height, format,
      SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP, nullptr, nullptr, nullptr));
  Check(scaler != nullptr, "swscale does not convert this");
  sws_scale(scaler.get(), from.data, from.linesize, 0, from.height, to->data, to->linesize);
  return to;
}

// Samples of one pixel, as many as the format has; none for a format that swscale has to make.
std::vector<int> Samples(const Colour& c, AVPixelFormat format) {
  const int luma = static_cast<int>(std::lround(Luma(c)));
  switch (format) {
    case AV_PIX_FMT_RGB24:
    case AV_PIX_FMT_RGB48BE:
      return {c.r, c.g, c.b};
    case AV_PIX_FMT_RGBA:
    case AV_PIX_FMT_RGBA64BE:
      return {c.r, c.g, c.b, c.a};
    case AV_PIX_FMT_GRAY8:
    case AV_PIX_FMT_GRAY16BE:
      return {luma};
    case AV_PIX_FMT_YA8:
      return {luma, c.a};
    case AV_PIX_FMT_PAL8:
      return {c.r};
    default:
      return {};
  }
}

AvFrame FrameOf(const Raster& raster, AVPixelFormat format) {
  if (Samples({}, format).empty()) return Scale(*FrameOf(raster, AV_PIX_FMT_RGBA), format);
  const bool is_wide = format == AV_PIX_FMT_RGB48BE || format == AV_PIX_FMT_RGBA64BE || format == AV_PIX_FMT_GRAY16BE;
  AvFrame frame = NewFrame(raster.width, raster.height, format);
  for (int y = 0; y < raster.height; ++y) {
    uint8_t* byte = frame->data[0] + static_cast<std::ptrdiff_t>(y) * frame->linesize[0];
    for (int x = 0; x < raster.width; ++x) {
      for (int sample : Samples(raster.at(x, y), format)) {
        *byte++ = static_cast<uint8_t>(sample);
        if (is_wide) *byte++ = static_cast<uint8_t>(sample);  // v * 257
      }
    }
  }
  if (format == AV_PIX_FMT_PAL8) {
    for (int i = 0; i < 256; ++i) {
      const Colour c = PaletteEntry(i);
      const uint32_t argb = static_cast<uint32_t>(c.a) << 24 | static_cast<uint32_t>(c.r << 16 | c.g << 8 | c.b);
      std::memcpy(frame->data[1] + 4 * i, &argb, 4);
    }
  }
  return frame;
}

}  // namespace

double Luma(const Colour& colour) {
  return 0.299 * colour.r + 0.587 * colour.g + 0.114 * colour.b;
}

Raster MakeRaster(int width, int height, const std::function<Colour(int x, int y)>& colour) {
  Raster raster{width, height, {}};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) raster.pixels.push_back(colour(x, y));
  }
  return raster;
}

Raster TurnRight(const Raster& raster) {
  return MakeRaster(raster.height, raster.width, [&](int x, int y) { return raster.at(y, raster.height - 1 - x); });
}

Raster TurnLeft(const Raster& raster) {
  return MakeRaster(raster.height, raster.width, [&](int x, int y) { return raster.at(raster.width - 1 - y, x); });
}

Raster FlipUpsideDown(const Raster& raster) {
  return MakeRaster(raster.width, raster.height, [&](int x, int y) { return raster.at(x, raster.height - 1 - y); });
}

Colour PaletteEntry(int index) {
  return {255 - index, index, (index * 7) & 127, index < 16 ? index * 16 : 255};
}

std::string Encode(const Raster& raster, AVCodecID codec_id, AVPixelFormat format) {
  const AVCodec* codec = avcodec_find_encoder(codec_id);
  Check(codec != nullptr, "no such encoder");
  const AvFrame frame = FrameOf(raster, format);
  const AvCodecContext context = Own(avcodec_alloc_context3(codec));
  context->width = frame->width;
  context->height = frame->height;
  context->pix_fmt = format;
  context->time_base = {1, 25};
  context->flags |= AV_CODEC_FLAG_QSCALE;
  context->global_quality = FF_QP2LAMBDA * (codec_id == AV_CODEC_ID_WEBP ? 95 : 2);
  frame->quality = context->global_quality;
  Check(avcodec_open2(context.get(), codec, nullptr) == 0, "the encoder does not open");
  const AvPacket packet = Own(av_packet_alloc());
  Check(avcodec_send_frame(context.get(), frame.get()) == 0 && avcodec_send_frame(context.get(), nullptr) == 0 &&
            avcodec_receive_packet(context.get(), packet.get()) == 0,
        "the picture does not encode");
  return {reinterpret_cast<const char*>(packet->data), static_cast<std::size_t>(packet->size)};
}

Raster Decode(const std::string& file) {
  const AVCodec* codec = avcodec_find_decoder(file.starts_with("\x89PNG") ? AV_CODEC_ID_PNG : AV_CODEC_ID_MJPEG);
  const AvCodecContext context = Own(avcodec_alloc_context3(codec));
  Check(avcodec_open2(context.get(), codec, nullptr) == 0, "the decoder does not open");
  const AvPacket packet = Own(av_packet_alloc());
  Check(av_new_packet(packet.get(), static_cast<int>(file.size())) == 0, "no memory for a packet");
  std::memcpy(packet->data, file.data(), file.size());
  const AvFrame frame = Own(av_frame_alloc());
  Check(avcodec_send_packet(context.get(), packet.get()) == 0 && avcodec_send_packet(context.get(), nullptr) == 0 &&
            avcodec_receive_frame(context.get(), frame.get()) == 0,
        "the picture does not decode");
  const AvFrame rgba = Scale(*frame, AV_PIX_FMT_RGBA);
  return MakeRaster(rgba->width, rgba->height, [&](int x, int y) {
    const uint8_t* pixel = rgba->data[0] + static_cast<std::ptrdiff_t>(y) * rgba->linesize[0] + 4 * x;
    return Colour{pixel[0], pixel[1], pixel[2], pixel[3]};
  });
}

double IntersectionOverUnion(const Raster& a, const Raster& b) {
  Check(a.width == b.width && a.height == b.height, "masks of different sizes");
  int both = 0;
  int any = 0;
  for (std::size_t i = 0; i < a.pixels.size(); ++i) {
    const bool in_a = a.pixels[i].r >= 128;
    const bool in_b = b.pixels[i].r >= 128;
    both += in_a && in_b;
    any += in_a || in_b;
  }
  return any == 0 ? 1 : static_cast<double>(both) / any;
}

}  // namespace pexo::test
