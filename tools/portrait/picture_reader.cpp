// SPDX-License-Identifier: Apache-2.0
#include "picture_reader.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <vector>

#include <pexo/compositor/frame.h>

#include "common/failure.h"
#include "common/file.h"

namespace pexo::portrait {
namespace {

constexpr int kMaxSize = compositor::kMaxSide;
constexpr std::size_t kMaxBytes = INT32_MAX - AV_INPUT_BUFFER_PADDING_SIZE;  // a packet's

std::string_view Text(const std::vector<uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

uint32_t BigEndian(std::string_view bytes) {
  uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<uint8_t>(bytes[i]);
  return value;
}

AVCodecID CodecOf(std::string_view file) {
  using namespace std::string_view_literals;
  if (file.starts_with("\x89PNG\r\n\x1a\n"sv)) return AV_CODEC_ID_PNG;
  if (file.starts_with("\xff\xd8\xff"sv)) return AV_CODEC_ID_MJPEG;
  if (file.starts_with("RIFF"sv) && file.substr(0, 12).ends_with("WEBP"sv)) return AV_CODEC_ID_WEBP;
  return AV_CODEC_ID_NONE;
}

// The end of a JPEG file comes after its first scan; before that, thumbnails have ends of their own.
bool IsCompleteJpeg(std::string_view file) {
  using namespace std::string_view_literals;
  constexpr char kStartOfScan = '\xda';
  std::size_t segment = 2;
  while (segment + 4 <= file.size() && file[segment] == '\xff' && file[segment + 1] != kStartOfScan) {
    if (file[segment + 1] == '\xff') {  // a fill byte
      ++segment;
    } else {
      segment += 2 + (BigEndian(file.substr(segment)) & 0xffff);
    }
  }
  return segment < file.size() && file.find("\xff\xd9"sv, segment) != std::string_view::npos;
}

bool IsCompletePng(std::string_view file) {
  using namespace std::string_view_literals;
  for (std::size_t chunk = 8; chunk + 12 <= file.size(); chunk += 12 + std::size_t{BigEndian(file.substr(chunk))}) {
    if (file.substr(chunk + 4, 4) == "IEND"sv) return true;
  }
  return false;
}

// Whether the file's own end is there. The decoders make a picture of half a PNG or JPEG file, too; of a WebP file
// they do not.
bool IsComplete(std::string_view file, AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_PNG:
      return IsCompletePng(file);
    case AV_CODEC_ID_MJPEG:
      return IsCompleteJpeg(file);
    default:
      return true;
  }
}

media::AvFrame Decode(const std::vector<uint8_t>& file, AVCodecID codec_id) {
  const AVCodec* codec = avcodec_find_decoder(codec_id);
  if (codec == nullptr) return nullptr;
  const media::AvCodecContext context = media::Own(avcodec_alloc_context3(codec));
  context->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_EXPLODE;
  context->thread_count = 1;
  context->idct_algo = FF_IDCT_SIMPLE;  // which gives the same pixels on every processor
  if (avcodec_open2(context.get(), codec, nullptr) < 0) return nullptr;
  const media::AvPacket packet = media::Own(av_packet_alloc());
  if (av_new_packet(packet.get(), static_cast<int>(file.size())) < 0) throw std::bad_alloc();
  std::memcpy(packet->data, file.data(), file.size());
  media::AvFrame frame = media::Own(av_frame_alloc());
  if (avcodec_send_packet(context.get(), packet.get()) < 0) return nullptr;
  if (avcodec_send_packet(context.get(), nullptr) < 0) return nullptr;
  if (avcodec_receive_frame(context.get(), frame.get()) < 0) return nullptr;
  if (frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0) return nullptr;
  return frame;
}

}  // namespace

media::AvFrame ReadPicture(const std::string& path) {
  const std::vector<uint8_t> file = tools::ReadFile(path, kMaxBytes);
  if (file.empty()) throw tools::Failure(path + ": the file is empty");
  const AVCodecID codec = CodecOf(Text(file));
  if (codec == AV_CODEC_ID_NONE) throw tools::Failure(path + ": not a PNG, JPEG or WebP picture");
  if (!IsComplete(Text(file), codec)) throw tools::Failure(path + ": the picture is truncated or damaged");
  media::AvFrame frame = Decode(file, codec);
  if (frame == nullptr) throw tools::Failure(path + ": the picture is damaged or of a kind that cannot be decoded");
  if (frame->width > kMaxSize || frame->height > kMaxSize) {
    throw tools::Failure(path + ": the picture is " + std::to_string(frame->width) + "x" +
                         std::to_string(frame->height) + ", more than " + std::to_string(kMaxSize) +
                         " pixels in a direction");
  }
  return frame;
}

bool IsPicture(const std::string& path) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return false;
  char start[12] = {};
  std::ifstream(path, std::ios::binary).read(start, sizeof start);
  return CodecOf({start, sizeof start}) != AV_CODEC_ID_NONE;
}

}  // namespace pexo::portrait
