// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_MODEL_FILE_H_
#define PEXO_TOOLS_PORTRAIT_MODEL_FILE_H_

#include <pexo/compositor/compositor.h>

#include <string>

#include "common/failure.h"
#include "media/film_frames.h"

namespace pexo::portrait {

// A model for PARAM_MODEL_PATH. `word` is a path, or the word for one of the files in models/ beside the program or
// in the installed data folder: "big", "small", "wide", or "auto" for the one of the last two that suits upright
// pictures of this size. Throws tools::Failure unless it is a regular file that can be read, at a path that the library
// takes.
compositor::Model FindModel(const std::string& word, media::Size upright);

// What to throw when the library has refused a model: with what the engine said about it. `status` may be empty.
tools::Failure ModelFailure(const std::string& path, const std::string& status);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_MODEL_FILE_H_
