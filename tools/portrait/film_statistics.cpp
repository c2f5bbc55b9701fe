// SPDX-License-Identifier: Apache-2.0
#include "film_statistics.h"

#include <cinttypes>
#include <cstdio>
#include <utility>

namespace pexo::portrait {

std::string FilmStatistics::Text(int64_t frames, double frames_per_second) const {
  char line[160];
  std::snprintf(line, sizeof line, "%" PRId64 " frames, %.1f a second\n", frames, frames_per_second);
  std::string text = line;
  const std::pair<const char*, const StageTimes*> stages[] = {
      {"read", &read}, {"effect", &effect}, {"segment", &segment}, {"compose", &compose}, {"write", &write}};
  for (const auto& [name, times] : stages) {
    if (times->count() == 0) continue;
    std::snprintf(line, sizeof line, "%-8s median %7.2f ms, 99th percentile %7.2f ms\n", name,
                  1e3 * times->Quantile(0.5), 1e3 * times->Quantile(0.99));
    text += line;
  }
  if (frames_judged > 0) {
    std::snprintf(line, sizeof line, "person   in %.1f %% of the frames\n",
                  100.0 * static_cast<double>(frames_with_person) / static_cast<double>(frames_judged));
    text += line;
  }
  return text;
}

}  // namespace pexo::portrait
