// SPDX-License-Identifier: Apache-2.0
// The reason of the last failure.
#ifndef PEXO_DLSYSTEM_DL_ERROR_HPP_
#define PEXO_DLSYSTEM_DL_ERROR_HPP_

#include "DlSystem/Visibility.hpp"

namespace zdl::DlSystem {

// Why the last failing call of this thread failed: one line, never null, "" while nothing has failed. Valid until the
// thread's next failing call.
PEXO_ENGINE_API const char* getLastErrorString();

}  // namespace zdl::DlSystem

#endif  // PEXO_DLSYSTEM_DL_ERROR_HPP_
