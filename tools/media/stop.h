// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_MEDIA_STOP_H_
#define PEXO_TOOLS_MEDIA_STOP_H_

#include <atomic>

namespace pexo::media {

// A request to end early, as a signal handler can make it.
struct Stop {
  std::atomic<bool> is_requested{false};
  int descriptor = -1;  // can be read once it is requested; for those who wait for another descriptor
};

}  // namespace pexo::media

#endif  // PEXO_TOOLS_MEDIA_STOP_H_
