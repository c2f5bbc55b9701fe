// SPDX-License-Identifier: Apache-2.0
#include "kernels/kernel_table.h"

#include <algorithm>

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

KernelTable FilledUpTo(const KernelTier& highest) {
  KernelTable table{};
  for (const KernelTier& tier : KernelTiers()) {
    tier.fill(table);
    if (&tier == &highest) break;
  }
  return table;
}

KernelTable active_kernels = FilledUpTo(KernelTiers().back());

}  // namespace

const KernelTable& Kernels() {
  return active_kernels;
}

std::span<const KernelTier> KernelTiers() {
  return {std::begin(kTiers), std::ranges::find_if(kTiers, [](const KernelTier& tier) { return !tier.available(); })};
}

void ForceKernelTier(const KernelTier& tier) {
  active_kernels = FilledUpTo(tier);
}

}  // namespace pexo
