// The heap as the test program's own objects see it (linked with --wrap=malloc,--wrap=free).
#ifndef PEXO_TESTS_BLUR_WRAPPED_MALLOC_H_
#define PEXO_TESTS_BLUR_WRAPPED_MALLOC_H_

#include <cstdint>

namespace pexo::testing {

struct HeapControl {
  bool armed = false;
  uint8_t fill = 0;     // what fresh memory holds
  int fail_at = -1;     // this allocation, counted from 0, fails; the ones after it work again
  int allocations = 0;  // since armed
  int live = 0;         // allocated since armed and not freed
};

HeapControl& heap();

}  // namespace pexo::testing

#endif  // PEXO_TESTS_BLUR_WRAPPED_MALLOC_H_
