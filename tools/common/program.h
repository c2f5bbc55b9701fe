// SPDX-License-Identifier: Apache-2.0
// The frame of a command line program.
#ifndef PEXO_TOOLS_COMMON_PROGRAM_H_
#define PEXO_TOOLS_COMMON_PROGRAM_H_

#include <functional>
#include <string>

namespace pexo::tools {

// Runs the program's work and returns its exit status. Whatever ends the work early is told on standard error in one
// line that begins with the program's name: a UsageError gives status 2, Interrupted 130, any other exception status 1,
// and so does a standard output that cannot be written.
int RunProgram(const std::string& name, const std::function<void()>& work);

}  // namespace pexo::tools

#endif  // PEXO_TOOLS_COMMON_PROGRAM_H_
