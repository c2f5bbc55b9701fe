// SPDX-License-Identifier: Apache-2.0
#include "option_values.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

extern "C" {
#include <libavutil/parseutils.h>
}

#include <pexo/compositor/frame.h>

#include "common/failure.h"

namespace pexo::portrait {
namespace {

constexpr int kMaxSize = compositor::kMaxSide;

}  // namespace

double ParseNumber(const std::string& word, double least, double most) {
  double value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size() || !(value >= least && value <= most)) {
    char range[64];
    std::snprintf(range, sizeof range, "takes a number from %g to %g, not '", least, most);
    throw tools::UsageError(range + word + "'");
  }
  return value;
}

media::Size ParseSize(const std::string& word) {
  media::Size size{};
  if (av_parse_video_size(&size.width, &size.height, word.c_str()) < 0 || std::min(size.width, size.height) < 2 ||
      std::max(size.width, size.height) > kMaxSize) {
    throw tools::UsageError("takes a size such as 1280x720, not '" + word + "'");
  }
  return size;
}

}  // namespace pexo::portrait
