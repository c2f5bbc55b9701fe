// SPDX-License-Identifier: Apache-2.0
// consumer MODEL: one frame of its own memory through effect 3; nobody is in it. No function of the image library.
#include <pexo/humanbodyseg.h>
#include <qmx/qmx_image.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

struct Release {
  void operator()(HumanBodySegHandle* handle) const {
    pexoHumanBodySegUninit(handle);
    pexoHumanBodySegDestroy(handle);
  }
};

}  // namespace

int main(int argc, char** argv) {
  constexpr int32_t kWidth = 64, kHeight = 48;
  const std::unique_ptr<HumanBodySegHandle, Release> handle(pexoHumanBodySegCreate());
  std::vector<uint8_t> pixels(kWidth * kHeight * 3 / 2, 200);
  QmxImage frame{};
  frame.width = kWidth;
  frame.height = kHeight;
  frame.plane[0] = pixels.data();
  frame.plane[1] = pixels.data() + kWidth * kHeight;
  const int32_t effect = HUMANBODYSEG_EFFECT_MASK;
  if (argc != 2 || pexoHumanBodySegSetParam(handle.get(), PARAM_EFFECT_MODE, &effect) != HUMANBODYSEG_OK ||
      pexoHumanBodySegSetParam(handle.get(), PARAM_MODEL_PATH, argv[1]) != HUMANBODYSEG_OK ||
      pexoHumanBodySegInit(handle.get()) != HUMANBODYSEG_OK ||
      pexoHumanBodySegProcess(handle.get(), &frame, nullptr) != HUMANBODYSEG_OK) {
    return 2;
  }
  if (pixels.front() >= 20 || pixels.back() != 128) return 3;
  std::puts(pexoHumanBodySegGetVersion()->version_string);
}
