// What goes wrong for reasons outside the program: a message for the user, in one line.
#ifndef PEXO_TOOLS_PORTRAIT_FAILURE_H_
#define PEXO_TOOLS_PORTRAIT_FAILURE_H_

#include <stdexcept>
#include <string>

namespace pexo::portrait {

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

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_FAILURE_H_
