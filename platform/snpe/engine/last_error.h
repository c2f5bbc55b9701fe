// SPDX-License-Identifier: Apache-2.0
// The text behind getLastErrorString().
#ifndef PEXO_ENGINE_LAST_ERROR_H_
#define PEXO_ENGINE_LAST_ERROR_H_

#include <exception>
#include <new>

namespace pexo::engine {

// Of the calling thread.
void SetLastError(const char* message) noexcept;

// Calls `body` and returns its result; turns an exception into the last error and `failed`.
template <typename Result, typename Body>
Result Guard(Result failed, Body body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    SetLastError("out of memory");
  } catch (const std::exception& error) {
    SetLastError(error.what());
  } catch (...) {
    SetLastError("unknown failure");
  }
  return failed;
}

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_LAST_ERROR_H_
