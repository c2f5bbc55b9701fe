// SPDX-License-Identifier: Apache-2.0
#include "common/program.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>
#include <new>

#include "common/failure.h"

namespace pexo::tools {
namespace {

// One line whatever a file name holds.
int Complain(std::string message, int exit_status) {
  std::replace_if(
      message.begin(), message.end(), [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
  std::fprintf(stderr, "%s\n", message.c_str());
  return exit_status;
}

}  // namespace

int RunProgram(const std::string& name, const std::function<void()>& work) {
  try {
    work();
    if (std::fflush(stdout) != 0) throw Failure("standard output cannot be written");
    return 0;
  } catch (const UsageError& error) {
    return Complain(name + ": " + error.what() + "; see " + name + " --help", 2);
  } catch (const Interrupted& interrupted) {
    return Complain(name + ": " + interrupted.what(), 130);
  } catch (const std::bad_alloc&) {
    return Complain(name + ": out of memory", 1);
  } catch (const std::exception& error) {
    return Complain(name + ": " + error.what(), 1);
  }
}

}  // namespace pexo::tools
