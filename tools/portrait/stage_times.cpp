// SPDX-License-Identifier: Apache-2.0
#include "stage_times.h"

#include <algorithm>
#include <cmath>

namespace pexo::portrait {

void StageTimes::Add(double seconds) {
  const double step = std::ceil(std::log(std::max(seconds, kShortest) / kShortest) / std::log(kStep));
  ++steps_[std::min(static_cast<std::size_t>(step), steps_.size() - 1)];
  ++count_;
}

double StageTimes::Quantile(double share) const {
  int64_t left = std::max<int64_t>(static_cast<int64_t>(std::ceil(share * static_cast<double>(count_))), 1);
  for (std::size_t step = 0; step < steps_.size(); ++step) {
    left -= steps_[step];
    if (left <= 0) return kShortest * std::pow(kStep, static_cast<double>(step));
  }
  return 0;
}

}  // namespace pexo::portrait
