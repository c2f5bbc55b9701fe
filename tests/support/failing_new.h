// SPDX-License-Identifier: Apache-2.0
// The C++ library's allocations, as failing_heap.h wants them to fail. For one source file of a program.
#ifndef PEXO_TESTS_SUPPORT_FAILING_NEW_H_
#define PEXO_TESTS_SUPPORT_FAILING_NEW_H_

#include <dlfcn.h>

#include <cstddef>
#include <new>

#include "tests/support/failing_heap.h"

// Each calls the library's function that it hides.
void* operator new(std::size_t bytes) {
  static const auto allocate = reinterpret_cast<void* (*)(std::size_t)>(dlsym(RTLD_NEXT, "_Znwm"));
  if (pexo::test::AllocationFails()) throw std::bad_alloc();
  return allocate(bytes);
}
void* operator new[](std::size_t bytes) {
  static const auto allocate = reinterpret_cast<void* (*)(std::size_t)>(dlsym(RTLD_NEXT, "_Znam"));
  if (pexo::test::AllocationFails()) throw std::bad_alloc();
  return allocate(bytes);
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept try {
  return operator new(bytes);
} catch (const std::bad_alloc&) {
  return nullptr;
}

#endif  // PEXO_TESTS_SUPPORT_FAILING_NEW_H_
