// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_INTERRUPTION_H_
#define PEXO_TOOLS_PORTRAIT_INTERRUPTION_H_

#include <signal.h>

#include "media/stop.h"

namespace pexo::portrait {

// While it lives, the first SIGINT or SIGTERM only requests a stop; a second one ends the program. A pipe whose reader
// is gone is an error of the write. One at a time.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  static const media::Stop& stop();

 private:
  struct sigaction before_[3];
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_INTERRUPTION_H_
