// SPDX-License-Identifier: Apache-2.0
// The library, as a camera application uses it.
#ifndef PEXO_TOOLS_PORTRAIT_RENDERER_H_
#define PEXO_TOOLS_PORTRAIT_RENDERER_H_

#include <cstdint>
#include <memory>
#include <string>

#include <pexo/humanbodyseg.h>

#include "camera_frame.h"

namespace pexo::portrait {

// The library's parameters of the same names.
struct EffectSettings {
  int32_t effect = HUMANBODYSEG_EFFECT_BLUR;
  uint32_t rotation = 0;
  int32_t camera_direction = 0;
  uint32_t layout_mode = 0;
};

// What the width of a frame must be a multiple of.
int ColumnMultiple(int32_t effect);

class Renderer {
 public:
  // Loads the model. Throws Failure.
  Renderer(const EffectSettings& settings, const std::string& model_path);
  ~Renderer();
  Renderer(const Renderer&) = delete;
  Renderer& operator=(const Renderer&) = delete;

  // Hands in a frame and leaves in its place, with the effect, the one of FramesLate() calls before. The first calls
  // have none to give back. Throws Failure.
  void Process(CameraFrame& frame);

  // The effect of one picture, which is handed in until it comes back itself. Throws Failure.
  CameraFrame Render(const CameraFrame& picture);

  int FramesLate() const;

 private:
  struct HandleDeleter {
    void operator()(HumanBodySegHandle* handle) const { pexoHumanBodySegDestroy(handle); }
  };

  int32_t effect_;
  std::unique_ptr<HumanBodySegHandle, HandleDeleter> handle_;
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_RENDERER_H_
