// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_PICTURE_WRITER_H_
#define PEXO_TOOLS_PORTRAIT_PICTURE_WRITER_H_

#include <optional>
#include <string>

#include <pexo/compositor/frame.h>

#include "frame_conversion.h"

namespace pexo::portrait {

enum class PictureKind { kPng, kJpeg };

// By the name's ending: .png, .jpg or .jpeg in any case.
std::optional<PictureKind> PictureKindOf(const std::string& path);

// Writes the frame without its padding. The file appears under its name only when it is complete; until then a file of
// that name stays as it is. Throws Failure.
// `alpha`: what becomes its transparency, as large as the frame with its padding; a JPEG file has none.
void WritePicture(CameraFrame& frame, const std::string& path, const compositor::MaskView* alpha = nullptr);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_PICTURE_WRITER_H_
