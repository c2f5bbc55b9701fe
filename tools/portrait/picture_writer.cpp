// SPDX-License-Identifier: Apache-2.0
#include "picture_writer.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>

#include "common/failure.h"
#include "common/file.h"

namespace pexo::portrait {
namespace {

constexpr int kJpegQuantiser = 2;  // of 1 (largest files) to 31

// What is black beyond the person stays so: enlarged, the chroma runs over from beside.
void SetAlpha(CameraFrame& frame, const compositor::MaskView& alpha, AVFrame& rgba) {
  for (int y = 0; y < rgba.height; ++y) {
    uint8_t* row = rgba.data[0] + static_cast<std::ptrdiff_t>(y) * rgba.linesize[0];
    const uint8_t* luma = frame.luma() + static_cast<std::ptrdiff_t>(y) * frame.width();
    const uint8_t* mask = alpha.pixels + y * alpha.stride;
    for (int x = 0; x < rgba.width; ++x) {
      if (mask[x] == 0 && luma[x] == 0) std::fill_n(row + 4 * x, 3, uint8_t{0});
      row[4 * x + 3] = mask[x];
    }
  }
}

media::AvPacket Encode(CameraFrame& frame, PictureKind kind, const compositor::MaskView* alpha) {
  const bool is_png = kind == PictureKind::kPng;
  const AVPixelFormat format = !is_png ? AV_PIX_FMT_YUV420P : alpha == nullptr ? AV_PIX_FMT_RGB24 : AV_PIX_FMT_RGBA;
  const media::AvFrame picture = PictureFromFrame(frame, format);
  if (format == AV_PIX_FMT_RGBA) SetAlpha(frame, *alpha, *picture);
  const AVCodec* codec = avcodec_find_encoder(is_png ? AV_CODEC_ID_PNG : AV_CODEC_ID_MJPEG);
  if (codec == nullptr) return nullptr;
  const media::AvCodecContext context = media::Own(avcodec_alloc_context3(codec));
  context->width = picture->width;
  context->height = picture->height;
  context->pix_fmt = format;
  context->color_range = AVCOL_RANGE_JPEG;
  context->time_base = {1, 25};  // asked for, but without meaning in a picture
  context->thread_count = 1;
  if (!is_png) {
    // The same bytes on every processor.
    context->flags |= AV_CODEC_FLAG_QSCALE | AV_CODEC_FLAG_BITEXACT;
    context->dct_algo = FF_DCT_INT;
    context->global_quality = FF_QP2LAMBDA * kJpegQuantiser;
    picture->quality = context->global_quality;
  }
  if (avcodec_open2(context.get(), codec, nullptr) < 0) return nullptr;
  media::AvPacket packet = media::Own(av_packet_alloc());
  if (avcodec_send_frame(context.get(), picture.get()) < 0) return nullptr;
  if (avcodec_send_frame(context.get(), nullptr) < 0) return nullptr;
  if (avcodec_receive_packet(context.get(), packet.get()) < 0) return nullptr;
  return packet;
}

}  // namespace

std::optional<PictureKind> PictureKindOf(const std::string& path) {
  std::string ending = std::filesystem::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
  if (ending == ".png") return PictureKind::kPng;
  if (ending == ".jpg" || ending == ".jpeg") return PictureKind::kJpeg;
  return std::nullopt;
}

void WritePicture(CameraFrame& frame, const std::string& path, const compositor::MaskView* alpha) {
  const std::optional<PictureKind> kind = PictureKindOf(path);
  if (!kind) throw tools::Failure(path + ": the name must end in .png, .jpg or .jpeg");
  const media::AvPacket packet = Encode(frame, *kind, alpha);
  if (packet == nullptr) throw tools::Failure(path + ": the picture cannot be encoded");
  tools::ReplaceFile(path, {packet->data, static_cast<std::size_t>(packet->size)});
}

}  // namespace pexo::portrait
