#ifndef PEXO_TOOLS_PORTRAIT_MODEL_FILE_H_
#define PEXO_TOOLS_PORTRAIT_MODEL_FILE_H_

#include <string>

namespace pexo::portrait {

// The path of a model for PARAM_MODEL_PATH. `model` is a path, or "big" or "small" for the files in models/ beside the
// program. Throws Failure unless it is a regular file that can be read, at a path that the library takes.
std::string FindModel(const std::string& model);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_MODEL_FILE_H_
