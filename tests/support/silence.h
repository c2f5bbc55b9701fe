// Quiet tests.
#ifndef PEXO_TESTS_SUPPORT_SILENCE_H_
#define PEXO_TESTS_SUPPORT_SILENCE_H_

#include "common/log.h"

namespace pexo {

// Keeps the library silent while it lives.
struct Silence {
  Silence() { log_level = 0; }
  ~Silence() { log_level = 1; }
};

}  // namespace pexo

#endif  // PEXO_TESTS_SUPPORT_SILENCE_H_
