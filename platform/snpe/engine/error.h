// SPDX-License-Identifier: Apache-2.0
// Failures inside the engine, and the text that callers see of them.
#ifndef PEXO_ENGINE_ERROR_H_
#define PEXO_ENGINE_ERROR_H_

#include <algorithm>
#include <stdexcept>
#include <string>

namespace pexo::engine {

// Thrown within the engine for everything it cannot do; the engine's borders turn it into null or false.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws Error with the parts joined. Parts may come from a file: what would break the one line becomes a "?".
template <typename... Parts>
[[noreturn]] void Fail(const Parts&... parts) {
  std::string message;
  ((message += parts), ...);
  std::replace_if(
      message.begin(), message.end(), [](unsigned char c) { return c < ' ' || c == 127; }, '?');
  throw Error(message);
}

template <typename... Parts>
void Require(bool condition, const Parts&... parts) {
  if (!condition) Fail(parts...);
}

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_ERROR_H_
