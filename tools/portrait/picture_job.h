// SPDX-License-Identifier: Apache-2.0
// A picture from its file to the next.
#ifndef PEXO_TOOLS_PORTRAIT_PICTURE_JOB_H_
#define PEXO_TOOLS_PORTRAIT_PICTURE_JOB_H_

#include "options.h"

namespace pexo::portrait {

// Throws tools::UsageError or tools::Failure.
void RenderPicture(const Options& options);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_PICTURE_JOB_H_
