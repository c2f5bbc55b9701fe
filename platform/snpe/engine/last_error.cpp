// SPDX-License-Identifier: Apache-2.0
#include "engine/last_error.h"

#include <cstdio>

#include "DlSystem/DlError.hpp"

namespace {
// Room of its own, so that a failure to allocate can be told as well.
thread_local char last_error[512];
}  // namespace

void pexo::engine::SetLastError(const char* message) noexcept {
  std::snprintf(last_error, sizeof(last_error), "%s", message);
}

const char* zdl::DlSystem::getLastErrorString() {
  return last_error;
}
