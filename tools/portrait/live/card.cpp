// SPDX-License-Identifier: Apache-2.0
#include "live/card.h"

#include "frame_conversion.h"
#include "live/fit.h"
#include "picture_reader.h"

namespace pexo::live {

Picture PlainCard(media::Size size) {
  constexpr uint8_t kGrey = 96;
  return Picture::OfCard(PlainFrame(size, kGrey));
}

Picture CardOf(const std::string& path, media::Size size) {
  portrait::CameraFrame upright = portrait::FrameFromPicture(*portrait::ReadPicture(path), 2);
  media::FrameConverter converter;
  return Picture::OfCard(FitFrame(*portrait::PictureFromFrame(upright, AV_PIX_FMT_YUV420P), size, converter));
}

}  // namespace pexo::live
