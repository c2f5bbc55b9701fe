#ifndef PEXO_TOOLS_PORTRAIT_PICTURE_WRITER_H_
#define PEXO_TOOLS_PORTRAIT_PICTURE_WRITER_H_

#include <optional>
#include <string>

#include "frame_conversion.h"

namespace pexo::portrait {

enum class PictureKind { kPng, kJpeg };

// By the name's ending: .png, .jpg or .jpeg in any case.
std::optional<PictureKind> PictureKindOf(const std::string& path);

// Writes the frame without its padding. The file appears under its name only when it is complete; until then a file of
// that name stays as it is. Throws Failure.
void WritePicture(CameraFrame& frame, const std::string& path);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_PICTURE_WRITER_H_
