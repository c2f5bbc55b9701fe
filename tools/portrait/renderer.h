// The library, as a camera application uses it.
#ifndef PEXO_TOOLS_PORTRAIT_RENDERER_H_
#define PEXO_TOOLS_PORTRAIT_RENDERER_H_

#include <memory>

#include <pexo/humanbodyseg.h>

#include "frame_conversion.h"
#include "options.h"

namespace pexo::portrait {

class Renderer {
 public:
  // Loads the model. Throws Failure.
  explicit Renderer(const Options& options);
  ~Renderer();
  Renderer(const Renderer&) = delete;
  Renderer& operator=(const Renderer&) = delete;

  // The effect of one picture. The pipelines answer some calls late, so the picture is fed until its own frame is back.
  CameraFrame Render(const CameraFrame& picture);

  // What a frame's width must divide by for an effect.
  static int ColumnMultiple(int32_t effect) { return effect == HUMANBODYSEG_EFFECT_COLOUR ? 8 : 2; }

 private:
  struct HandleDeleter {
    void operator()(HumanBodySegHandle* handle) const { pexoHumanBodySegDestroy(handle); }
  };

  int32_t effect_;
  std::unique_ptr<HumanBodySegHandle, HandleDeleter> handle_;
};

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_RENDERER_H_
