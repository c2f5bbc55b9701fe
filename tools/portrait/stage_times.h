// SPDX-License-Identifier: Apache-2.0
// How long the stages of a film's rendering take.
#ifndef PEXO_TOOLS_PORTRAIT_STAGE_TIMES_H_
#define PEXO_TOOLS_PORTRAIT_STAGE_TIMES_H_

#include <array>
#include <chrono>
#include <cstdint>

namespace pexo::portrait {

// The distribution of durations, to within one per cent, in the same memory for any number of them.
class StageTimes {
 public:
  // Started when it is made.
  class Clock {
   public:
    double Seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

   private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  };

  void Add(double seconds);
  int64_t count() const { return count_; }
  // The time that this share of all durations, 0 to 1, does not exceed, in seconds; 0 without any.
  double Quantile(double share) const;

 private:
  // Steps of one per cent from a microsecond up to twenty minutes.
  static constexpr double kShortest = 1e-6;
  static constexpr double kStep = 1.01;
  std::array<int64_t, 2100> steps_{};
  int64_t count_ = 0;
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_STAGE_TIMES_H_
