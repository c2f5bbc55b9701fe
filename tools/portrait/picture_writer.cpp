#include "picture_writer.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"

namespace pexo::portrait {
namespace {

namespace fs = std::filesystem;

constexpr int kJpegQuantiser = 2;  // of 1 (largest files) to 31

AvPacket Encode(CameraFrame& frame, PictureKind kind) {
  const bool is_png = kind == PictureKind::kPng;
  const AVPixelFormat format = is_png ? AV_PIX_FMT_RGB24 : AV_PIX_FMT_YUV420P;
  const AvFrame picture = PictureFromFrame(frame, format);
  const AVCodec* codec = avcodec_find_encoder(is_png ? AV_CODEC_ID_PNG : AV_CODEC_ID_MJPEG);
  if (codec == nullptr) return nullptr;
  const AvCodecContext context = Own(avcodec_alloc_context3(codec));
  context->width = picture->width;
  context->height = picture->height;
  context->pix_fmt = format;
  context->color_range = AVCOL_RANGE_JPEG;
  context->time_base = {1, 25};  // asked for, but without meaning in a picture
  context->thread_count = 1;
  if (!is_png) {
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = FF_QP2LAMBDA * kJpegQuantiser;
    picture->quality = context->global_quality;
  }
  if (avcodec_open2(context.get(), codec, nullptr) < 0) return nullptr;
  AvPacket packet = Own(av_packet_alloc());
  if (avcodec_send_frame(context.get(), picture.get()) < 0) return nullptr;
  if (avcodec_send_frame(context.get(), nullptr) < 0) return nullptr;
  if (avcodec_receive_packet(context.get(), packet.get()) < 0) return nullptr;
  return packet;
}

// A new file beside the final one, removed unless it is put in place.
class TemporaryFile {
 public:
  explicit TemporaryFile(const fs::path& target)
      : target_(target), name_((target.parent_path() / ".portrait-XXXXXX").string()) {
    descriptor_ = ::mkostemp(name_.data(), O_CLOEXEC);
    if (descriptor_ < 0) Throw();
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!name_.empty()) ::unlink(name_.c_str());
  }

  void Write(const uint8_t* bytes, std::size_t size) {
    while (size > 0) {
      const ssize_t written = ::write(descriptor_, bytes, size);
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) Throw();
      bytes += written;
      size -= static_cast<std::size_t>(written);
    }
  }

  void PutInPlace() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    if (::fchmod(descriptor_, 0666 & ~mask) != 0) Throw();
    if (::close(std::exchange(descriptor_, -1)) != 0) Throw();
    if (::rename(name_.c_str(), target_.c_str()) != 0) Throw();
    name_.clear();
  }

 private:
  [[noreturn]] static void Throw() { throw std::system_error(errno, std::generic_category()); }

  fs::path target_;
  std::string name_;
  int descriptor_ = -1;
};

}  // namespace

std::optional<PictureKind> PictureKindOf(const std::string& path) {
  std::string ending = fs::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
  if (ending == ".png") return PictureKind::kPng;
  if (ending == ".jpg" || ending == ".jpeg") return PictureKind::kJpeg;
  return std::nullopt;
}

void WritePicture(CameraFrame& frame, const std::string& path) {
  const std::optional<PictureKind> kind = PictureKindOf(path);
  if (!kind) throw Failure(path + ": the name must end in .png, .jpg or .jpeg");
  const AvPacket packet = Encode(frame, *kind);
  if (packet == nullptr) throw Failure(path + ": the picture cannot be encoded");
  try {
    const fs::path target = fs::weakly_canonical(path);  // through a link, into the file that it names
    if (fs::exists(target) && !fs::is_regular_file(target)) throw Failure(path + ": exists and is not a file");
    TemporaryFile file(target);
    file.Write(packet->data, static_cast<std::size_t>(packet->size));
    file.PutInPlace();
  } catch (const std::system_error& error) {
    throw Failure(path + ": cannot be written: " + error.code().message());
  }
}

}  // namespace pexo::portrait
