// SPDX-License-Identifier: Apache-2.0
// A handle of the library for the length of a test.
#ifndef PEXO_TESTS_SUPPORT_HANDLE_H_
#define PEXO_TESTS_SUPPORT_HANDLE_H_

#include <qmx/qmx_image.h>

#include <cstdint>
#include <string>

#include "pexo/humanbodyseg.h"

namespace pexo::test {

inline constexpr char kAnyModel[] = "/dev/null";  // it is there, and the fake engine opens anything

class Handle {
 public:
  explicit Handle(int32_t effect = 0, const std::string& model = kAnyModel) {
    pexoHumanBodySegSetParam(record, PARAM_MODEL_PATH, model.c_str());
    Set(PARAM_EFFECT_MODE, effect);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    Uninit();
    pexoHumanBodySegDestroy(record);
  }
  HumanBodySegHandle* operator->() const { return record; }

  void Set(int32_t key, int32_t value) { pexoHumanBodySegSetParam(record, key, &value); }
  int32_t Init() { return pexoHumanBodySegInit(record); }
  int32_t Process(QmxImage& image, const QmxImage* mask = nullptr) {
    return pexoHumanBodySegProcess(record, &image, mask);
  }
  void Uninit() { pexoHumanBodySegUninit(record); }

  HumanBodySegHandle* const record = pexoHumanBodySegCreate();
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_SUPPORT_HANDLE_H_
