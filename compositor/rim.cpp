// SPDX-License-Identifier: Apache-2.0
#include "rim.h"

#include <algorithm>
#include <cstring>

namespace pexo::compositor {
namespace {

// 255 where a pixel of the four can be seen.
void MarkSeen(int width, const uint8_t* upper, const uint8_t* lower, uint8_t* out) {
  for (int x = 0; x < width; ++x) {
    uint16_t pixels[2];  // two above, two below
    std::memcpy(&pixels[0], upper + 2 * x, 2);
    std::memcpy(&pixels[1], lower + 2 * x, 2);
    out[x] = (pixels[0] | pixels[1]) != 0 ? 255 : 0;
  }
}

// Three rows in one, a sample wider to either side. In front of a row, and behind it, is nothing.
void Grow(int width, const uint8_t* middle, const uint8_t* above, const uint8_t* below, uint8_t* out) {
  const auto column = [=](int x) { return middle[x] | above[x] | below[x]; };
  for (int x = 0; x < width; ++x) out[x] = static_cast<uint8_t>(column(x - 1) | column(x) | column(x + 1));
}

// The first byte of this value.
const uint8_t* Find(const uint8_t* from, const uint8_t* end, int value) {
  const void* found = std::memchr(from, value, static_cast<size_t>(end - from));
  return found == nullptr ? end : static_cast<const uint8_t*>(found);
}

}  // namespace

void Rim::Open(int width, int height) {
  seen_.Resize(width / 2, height / 2);
  grown_.Resize(width / 2, 2);
}

void Rim::AddRows(int pair, const uint8_t* const mask[2]) {
  MarkSeen(seen_.width(), mask[0], mask[1], seen_.Row(pair));
}

void Rim::Select(int pair) {
  const auto seen = [&](int y) { return seen_.Row(std::clamp(y, 0, seen_.height() - 1)); };
  const int width = seen_.width();
  uint8_t* near = grown_.Row(0);
  uint8_t* far = grown_.Row(1);
  Grow(width, seen(pair), seen(pair - 1), seen(pair + 1), near);
  Grow(width, near, seen(pair - 2), seen(pair + 2), far);
  Grow(width, far, seen(pair - 3), seen(pair + 3), near);
  is_empty_ = Find(near, near + width, 255) == near + width;
}

void Rim::FillBeyond(uint8_t level, int bytes_a_sample, uint8_t* row) const {
  const uint8_t* const first = grown_.Row(0);
  const uint8_t* const end = first + grown_.width();
  for (const uint8_t* from = Find(first, end, 0); from != end;) {
    const uint8_t* const to = Find(from, end, 255);
    std::memset(row + (from - first) * bytes_a_sample, level, static_cast<size_t>((to - from) * bytes_a_sample));
    from = Find(to, end, 0);
  }
}

}  // namespace pexo::compositor
