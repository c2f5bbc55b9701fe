// SPDX-License-Identifier: Apache-2.0
// Between pictures and camera frames: pixel formats, upright orientation, transparency, padding and cropping.
#ifndef PEXO_TOOLS_PORTRAIT_FRAME_CONVERSION_H_
#define PEXO_TOOLS_PORTRAIT_FRAME_CONVERSION_H_

#include <optional>

#include "camera_frame.h"
#include "media/film_frames.h"

namespace pexo::portrait {

// Between camera frames and planar ones (yuv420p) of the same padded size, as they are. FFmpeg's scaler has no part in
// it: where it has nothing to scale, it makes NV21 of grey pictures, and of NV21 itself, without writing the chroma.
void CopyToCamera(const AVFrame& planar, CameraFrame& camera);
media::AvFrame FrameFromCamera(CameraFrame& camera);

// The picture upright, scaled to `size` if there is one, transparent pixels over white, as a frame whose width is a
// multiple of `column_multiple`.
CameraFrame FrameFromPicture(const AVFrame& picture, int column_multiple, std::optional<media::Size> size = {});

// The frame without its padding in another pixel format (YUV formats in full range).
media::AvFrame PictureFromFrame(CameraFrame& frame, AVPixelFormat format);

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_FRAME_CONVERSION_H_
