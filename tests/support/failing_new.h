// SPDX-License-Identifier: Apache-2.0
// The C++ library's allocations, as failing_heap.h wants them to fail. For one source file of a program.
#ifndef PEXO_TESTS_SUPPORT_FAILING_NEW_H_
#define PEXO_TESTS_SUPPORT_FAILING_NEW_H_

#include <dlfcn.h>

#include <cstddef>
#include <new>

#include "tests/support/failing_heap.h"

namespace pexo::test {

// The allocation function of that name in the C++ library, or the failure.
inline void* Allocate(const char* name, std::size_t bytes) {
  if (AllocationFails()) throw std::bad_alloc();
  return reinterpret_cast<void* (*)(std::size_t)>(dlsym(RTLD_NEXT, name))(bytes);
}

}  // namespace pexo::test

void* operator new(std::size_t bytes) {
  return pexo::test::Allocate("_Znwm", bytes);
}
void* operator new[](std::size_t bytes) {
  return pexo::test::Allocate("_Znam", bytes);
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept try {
  return operator new(bytes);
} catch (const std::bad_alloc&) {
  return nullptr;
}

#endif  // PEXO_TESTS_SUPPORT_FAILING_NEW_H_
