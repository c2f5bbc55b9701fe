// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_LIVE_COMMAND_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_LIVE_COMMAND_H_

namespace pexo::live {

// "portrait live ..." and "portrait set ...": `argv` begins with the word "live" or "set". Both throw tools::UsageError
// and tools::Failure.
void LiveCommand(int argc, char** argv);
void SetCommand(int argc, char** argv);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_LIVE_COMMAND_H_
