// SPDX-License-Identifier: Apache-2.0
// In the place of live/, in a program that is built without it (PEXO_BUILD_LIVE).
#include "common/failure.h"
#include "live/live_command.h"

namespace pexo::live {

void LiveCommand(int, char**) {
  throw tools::Failure("this program was built without the live camera");
}

void SetCommand(int argc, char** argv) {
  LiveCommand(argc, argv);
}

}  // namespace pexo::live
