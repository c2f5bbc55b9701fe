// SPDX-License-Identifier: Apache-2.0
// consumer MODEL: one frame of the image library's through effect 3; nobody is in it.
#include <pexo/humanbodyseg.h>
#include <qmx/qmx_image.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  const int32_t effect = HUMANBODYSEG_EFFECT_MASK;
  HumanBodySegHandle* handle = pexoHumanBodySegCreate();
  QmxImage frame = qmxImageCreate(64, 48, QMX_FORMAT_NV21);
  int is_mask;
  if (argc != 2 || handle == NULL || frame.plane[0] == NULL) return 1;
  memset(frame.plane[0], 200, 64 * 48 + 64 * 24);
  if (pexoHumanBodySegSetParam(handle, PARAM_EFFECT_MODE, &effect) != HUMANBODYSEG_OK ||
      pexoHumanBodySegSetParam(handle, PARAM_MODEL_PATH, argv[1]) != HUMANBODYSEG_OK ||
      pexoHumanBodySegInit(handle) != HUMANBODYSEG_OK ||
      pexoHumanBodySegProcess(handle, &frame, NULL) != HUMANBODYSEG_OK) {
    return 2;
  }
  is_mask = frame.plane[0][0] < 20 && frame.plane[1][0] == 128;
  pexoHumanBodySegUninit(handle);
  pexoHumanBodySegDestroy(handle);
  if (!is_mask || qmxImageFree(&frame) != 0) return 3;
  puts(pexoHumanBodySegGetVersion()->version_string);
  return 0;
}
