// SPDX-License-Identifier: Apache-2.0
// A filmed room for tests: somebody in white stripes, before a red wall. Stripes and place tell the frame's number. To
// the fake engine white is a person and red is none, and the background of the pictures is blue: red in a picture is
// the bare room.
#ifndef PEXO_TESTS_LIVE_ROOM_H_
#define PEXO_TESTS_LIVE_ROOM_H_

#include <algorithm>
#include <cstdint>

#include "live/picture.h"
#include "media/frame_converter.h"

namespace pexo::test {

inline constexpr int kPlaces = 5;     // of the person, from left to right
inline constexpr int kNumbers = 255;  // told by eight stripes; a multiple of the places

namespace room {

inline constexpr uint8_t kWhite[] = {235, 128, 128}, kPale[] = {205, 128, 128}, kRed[] = {81, 90, 240};
inline constexpr int kRedV = 180;  // in pictures there is nothing as red as this

// Two eighths of the frame, as the smallest network sees it, are the person.
inline int Left(int place, int width) {
  return (1 + place) * width / 8;
}

}  // namespace room

inline constexpr int64_t kNobody = -1;

inline media::AvFrame RoomFrame(int64_t number, int width, int height) {
  media::AvFrame frame = media::NewFrame(width, height, AV_PIX_FMT_YUV420P);
  const int place = number == kNobody ? 2 * kPlaces : static_cast<int>(number % kPlaces);
  for (int plane = 0; plane < 3; ++plane) {
    const int step = plane == 0 ? 1 : 2;
    for (int y = 0; y < height / step; ++y) {
      for (int x = 0; x < width / step; ++x) {
        const bool is_person = x * step >= room::Left(place, width) && x * step < room::Left(place + 2, width);
        const bool is_white = (number % kNumbers >> y * step * 8 / height & 1) != 0;
        const uint8_t* colour = !is_person ? room::kRed : is_white ? room::kWhite : room::kPale;
        frame->data[plane][y * frame->linesize[plane] + x] = colour[plane];
      }
    }
  }
  return frame;
}

// What a picture shows.
struct Seen {
  double room = 0;  // share of the picture that is red
  bool is_card = true;
  int number = -1;                 // of the frame, if there is one whole person where that frame has one
  int corner_u = 0, corner_v = 0;  // of the wall

  explicit Seen(const AVFrame& frame) {
    const auto at = [&frame](int plane, int x, int y) { return frame.data[plane][y * frame.linesize[plane] + x]; };
    int red = 0;
    for (int y = 0; y < frame.height / 2; ++y) {
      for (int x = 0; x < frame.width / 2; ++x) {
        red += at(2, x, y) >= room::kRedV;
        is_card &= at(0, 2 * x, 2 * y) == at(0, 0, 0) && at(1, x, y) == 128 && at(2, x, y) == 128;
      }
    }
    corner_u = at(1, 1, 1);
    corner_v = at(2, 1, 1);
    room = 4.0 * red / (frame.width * frame.height);
    const auto mean = [&](int from, int to, int y) {
      int sum = 0;
      for (int x = std::max(from, 0); x < std::min(to, frame.width); ++x) sum += at(0, x, y);
      return sum / (to - from);
    };
    for (int place = 0; place < kPlaces; ++place) {
      const int left = room::Left(place, frame.width), right = room::Left(place + 2, frame.width);
      const int margin = (right - left) / 4;
      int told = 0;
      bool is_whole = true;
      for (int stripe = 0; stripe < 8; ++stripe) {
        const int y = (2 * stripe + 1) * frame.height / 16, level = mean(left + margin / 2, right - margin / 2, y);
        told |= (level > 220 ? 1 : 0) << stripe;
        is_whole &= level > 190 && mean(left - 2 * margin, left - margin, y) < 100 &&
                    mean(right + margin, right + 2 * margin, y) < 100;
      }
      if (is_whole && told % kPlaces == place) number = told;
    }
  }
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_LIVE_ROOM_H_
