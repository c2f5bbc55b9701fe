// SPDX-License-Identifier: Apache-2.0
// The log gate: every line of the library goes out through PEXO_LOG.
#ifndef PEXO_COMMON_LOG_H_
#define PEXO_COMMON_LOG_H_

#include <pexolog/log.h>

#include <atomic>
#include <cstdint>

namespace pexo {

inline constexpr int kLogPriority = 6;  // Android's "error", for all lines
inline constexpr char kLogTag[] = "LOG_HUMANBODYSEG";

// Lines are printed while this is at least 1. Written by pexoHumanBodySegSetLogLevel, read by every thread.
extern std::atomic<int32_t> log_level;

}  // namespace pexo

// A macro, so that the compiler checks the arguments against the literal format.
#define PEXO_LOG(...)                                                            \
  do {                                                                           \
    if (::pexo::log_level.load(std::memory_order_relaxed) >= 1) {                \
      __p_android_log_print(::pexo::kLogPriority, ::pexo::kLogTag, __VA_ARGS__); \
    }                                                                            \
  } while (false)

#endif  // PEXO_COMMON_LOG_H_
