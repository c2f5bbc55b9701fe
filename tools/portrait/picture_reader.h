// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_PICTURE_READER_H_
#define PEXO_TOOLS_PORTRAIT_PICTURE_READER_H_

#include <string>

#include "media/av_types.h"

namespace pexo::portrait {

// Decodes a PNG, JPEG or WebP file, whatever its name, as it lies in the file: in the file's own pixel format, not yet
// turned upright. Throws Failure when it cannot be read, is of another kind, damaged, truncated or larger than the
// compositor takes.
media::AvFrame ReadPicture(const std::string& path);

// Whether a file begins as one of these pictures does. False for what cannot be read, or is not a file: a pipe is not
// touched.
bool IsPicture(const std::string& path);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_PICTURE_READER_H_
