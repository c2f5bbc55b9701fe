// SPDX-License-Identifier: Apache-2.0
// What goes wrong for reasons outside a program: a message for the user, in one line.
#ifndef PEXO_TOOLS_COMMON_FAILURE_H_
#define PEXO_TOOLS_COMMON_FAILURE_H_

#include <stdexcept>

namespace pexo::tools {

// Exit status 1. The message that reaches the user begins with the file that it is about.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Exit status 2: the command line is wrong.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Exit status 130: the user ended the work early, and what is done is kept.
class Interrupted : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace pexo::tools

#endif  // PEXO_TOOLS_COMMON_FAILURE_H_
