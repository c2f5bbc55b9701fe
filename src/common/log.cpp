// SPDX-License-Identifier: Apache-2.0
#include "common/log.h"

namespace pexo {

std::atomic<int32_t> log_level{1};

}  // namespace pexo
