// SPDX-License-Identifier: Apache-2.0
// Allocations that fail on demand, in programs with allocation functions of their own.
#ifndef PEXO_TESTS_SUPPORT_FAILING_HEAP_H_
#define PEXO_TESTS_SUPPORT_FAILING_HEAP_H_

#include <atomic>
#include <utility>

namespace pexo::test {

// How many allocations of this thread succeed before one fails; with a negative number all do.
inline thread_local int allocations_to_failure = -1;

// The same for all threads together.
inline std::atomic<int> shared_allocations_to_failure = -1;

// For the allocation functions: whether this call is to fail.
inline bool AllocationFails() {
  if (shared_allocations_to_failure >= 0 && shared_allocations_to_failure-- == 0) return true;
  return allocations_to_failure >= 0 && allocations_to_failure-- == 0;
}

// Calls `action` with the allocation number `allocation`, from 0, failing; false when it made fewer.
bool Strikes(int allocation, const auto& action) {
  allocations_to_failure = allocation;
  action();
  return std::exchange(allocations_to_failure, -1) < 0 && allocation >= 0;
}

// The same, whichever thread makes it.
bool StrikesAnywhere(int allocation, const auto& action) {
  shared_allocations_to_failure = allocation;
  action();
  return shared_allocations_to_failure.exchange(-1) < 0 && allocation >= 0;
}

}  // namespace pexo::test

#endif  // PEXO_TESTS_SUPPORT_FAILING_HEAP_H_
