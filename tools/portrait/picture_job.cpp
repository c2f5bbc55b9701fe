// SPDX-License-Identifier: Apache-2.0
#include "picture_job.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "common/failure.h"
#include "frame_conversion.h"
#include "picture_reader.h"
#include "picture_writer.h"
#include "renderer.h"
#include "settings.h"

namespace pexo::portrait {
namespace {

compositor::Frame ViewOf(CameraFrame& frame) {
  compositor::Frame view;
  view.width = frame.width();
  view.height = frame.height();
  view.layout = compositor::Layout::kNv21;
  view.range = compositor::Range::kFull;
  view.matrix = compositor::Matrix::kBt601;
  view.plane[0] = frame.luma();
  view.plane[1] = frame.chroma();
  view.stride[0] = view.stride[1] = frame.width();
  return view;
}

CameraFrame PictureOf(const compositor::MaskView& mask, const CameraFrame& frame) {
  CameraFrame picture(frame.picture_width(), frame.picture_height(), 2);
  for (int y = 0; y < mask.height; ++y) {
    std::memcpy(picture.luma() + static_cast<std::ptrdiff_t>(y) * mask.width, mask.pixels + y * mask.stride,
                static_cast<std::size_t>(mask.width));
  }
  std::memset(picture.chroma(), 128, static_cast<std::size_t>(mask.width) * mask.height / 2);
  return picture;
}

void RenderBackground(const Options& options, CameraFrame& frame) {
  const int rotation = options.rotation.value_or(0);
  compositor::Options settings = CompositorOptionsOf(options, {frame.width(), frame.height()}, rotation, 0);
  settings.has_worker = false;
  const MovingBackground background(options.background, rotation);
  settings.background = background.first();
  const bool is_transparent = std::holds_alternative<compositor::Transparent>(options.background);
  try {
    compositor::Compositor compositor = MakeCompositor(settings);
    const compositor::Rendered rendered = compositor.Process(AsConst(ViewOf(frame)), ViewOf(frame));
    if (!options.mask_output.empty()) {
      CameraFrame mask = PictureOf(rendered.mask, frame);
      WritePicture(mask, options.mask_output);
    }
    WritePicture(frame, options.output, is_transparent ? &rendered.mask : nullptr);
  } catch (const compositor::Error& error) {
    throw tools::Failure(options.input + ": " + error.what());
  }
}

void RenderEffect(const Options& options, CameraFrame& frame) {
  const int rotation = options.rotation.value_or(0);
  Renderer renderer(EffectSettingsOf(options, rotation),
                    EffectModelOf(options, {frame.width(), frame.height()}, rotation));
  try {
    frame = renderer.Render(frame);
  } catch (const tools::Failure& failure) {
    throw tools::Failure(options.input + ": " + failure.what());
  }
  WritePicture(frame, options.output);
}

}  // namespace

void RenderPicture(const Options& options) {
  const bool is_transparent = !options.effect && std::holds_alternative<compositor::Transparent>(options.background);
  for (const std::string& path : {options.output, options.mask_output}) {
    if (path.empty()) continue;
    const std::optional<PictureKind> kind = PictureKindOf(path);
    if (!kind) throw tools::UsageError(path + ": a picture's name must end in .png, .jpg or .jpeg");
    if (is_transparent && path == options.output && kind != PictureKind::kPng) {
      throw tools::UsageError(path + ": a transparent picture is written as .png");
    }
  }
  const media::AvFrame picture = ReadPicture(options.input);
  const int multiple = options.effect ? ColumnMultiple(*options.effect) : 2;
  CameraFrame frame = FrameFromPicture(*picture, multiple, options.size);
  if (options.effect) {
    RenderEffect(options, frame);
  } else {
    RenderBackground(options, frame);
  }
  if (!options.quiet) {
    std::printf("%s: %dx%d\n", options.output.c_str(), frame.picture_width(), frame.picture_height());
  }
}

}  // namespace pexo::portrait
