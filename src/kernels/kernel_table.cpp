#include "kernels/kernel_table.h"

#include <initializer_list>

namespace pexo {
namespace {

bool Fill(KernelTable* table, KernelTier tier) {
  if (!KernelTierAvailable(tier)) {
    return false;
  }
  FillScalarKernels(table);
#if defined(__x86_64__)
  if (tier >= KernelTier::kSse2) {
    FillSse2Kernels(table);
  }
  if (tier >= KernelTier::kAvx2) {
    FillAvx2Kernels(table);
  }
#elif defined(__aarch64__)
  if (tier == KernelTier::kNeon) {
    FillNeonKernels(table);
  }
#endif
  return true;
}

KernelTable FillBest() {
  KernelTable table{};
  Fill(&table, BestKernelTier());
  return table;
}

KernelTable active_kernels = FillBest();

}  // namespace

const KernelTable& Kernels() {
  return active_kernels;
}

bool KernelTierAvailable(KernelTier tier) {
  switch (tier) {
    case KernelTier::kScalar:
      return true;
#if defined(__x86_64__)
    case KernelTier::kSse2:
      return true;
    case KernelTier::kAvx2:
      __builtin_cpu_init();  // this runs before the constructor that would do it
      return static_cast<bool>(__builtin_cpu_supports("avx2"));
#elif defined(__aarch64__)
    case KernelTier::kNeon:
      return true;
#endif
    default:
      return false;
  }
}

KernelTier BestKernelTier() {
  for (const KernelTier tier : {KernelTier::kNeon, KernelTier::kAvx2, KernelTier::kSse2}) {
    if (KernelTierAvailable(tier)) {
      return tier;
    }
  }
  return KernelTier::kScalar;
}

const char* KernelTierName(KernelTier tier) {
  switch (tier) {
    case KernelTier::kSse2:
      return "sse2";
    case KernelTier::kAvx2:
      return "avx2";
    case KernelTier::kNeon:
      return "neon";
    default:
      return "scalar";
  }
}

bool ForceKernelTier(KernelTier tier) {
  return Fill(&active_kernels, tier);
}

}  // namespace pexo
