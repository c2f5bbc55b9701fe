// SPDX-License-Identifier: Apache-2.0
#include "kernels/kernel_table.h"

#include <algorithm>
#include <iterator>

namespace pexo {
namespace {

bool Always() {
  return true;
}

#if defined(__x86_64__)
bool HasAvx2() {
  __builtin_cpu_init();  // this runs before the constructor that would do it
  return static_cast<bool>(__builtin_cpu_supports("avx2"));
}
#endif

constexpr KernelTier kTiers[] = {
    {"scalar", Always, FillScalarKernels},
#if defined(__x86_64__)
    {"sse2", Always, FillSse2Kernels},
    {"avx2", HasAvx2, FillAvx2Kernels},
#elif defined(__aarch64__)
    {"neon", Always, FillNeonKernels},
#endif
};

// Behind the last tier that this processor can run.
const KernelTier* AvailableEnd() {
  return std::find_if(std::begin(kTiers), std::end(kTiers), [](const KernelTier& tier) { return !tier.available(); });
}

KernelTable FilledUpTo(const KernelTier& highest) {
  KernelTable table{};
  for (const KernelTier& tier : kTiers) {
    tier.fill(table);
    if (tier.fill == highest.fill) break;
  }
  return table;
}

KernelTable active_kernels = FilledUpTo(AvailableEnd()[-1]);

}  // namespace

const KernelTable& Kernels() {
  return active_kernels;
}

const std::vector<KernelTier>& KernelTiers() {
  static const std::vector<KernelTier> tiers(std::begin(kTiers), AvailableEnd());
  return tiers;
}

void ForceKernelTier(const KernelTier& tier) {
  active_kernels = FilledUpTo(tier);
}

}  // namespace pexo
