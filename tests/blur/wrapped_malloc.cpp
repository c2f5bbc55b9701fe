#include "tests/blur/wrapped_malloc.h"

#include <cstddef>
#include <cstring>

namespace pexo::testing {

HeapControl& heap() {
  static HeapControl control;
  return control;
}

}  // namespace pexo::testing

extern "C" {

void* __real_malloc(size_t size);
void __real_free(void* memory);

void* __wrap_malloc(size_t size) {
  pexo::testing::HeapControl& heap = pexo::testing::heap();
  if (!heap.armed) {
    return __real_malloc(size);
  }
  if (heap.allocations++ == heap.fail_at) {
    return nullptr;
  }
  void* memory = __real_malloc(size);
  if (memory != nullptr) {
    std::memset(memory, heap.fill, size);
    ++heap.live;
  }
  return memory;
}

void __wrap_free(void* memory) {
  pexo::testing::HeapControl& heap = pexo::testing::heap();
  if (heap.armed && memory != nullptr) {
    --heap.live;
  }
  __real_free(memory);
}

}  // extern "C"
