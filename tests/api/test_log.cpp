// How lines leave the library. The program's own log call takes the log library's place here.
#include <gtest/gtest.h>
#include <pexolog/log.h>

#include <string>

#include "api/handle.h"
#include "common/log.h"

namespace {

int lines = 0;
int wrong_lines = 0;

}  // namespace

extern "C" __attribute__((visibility("default"))) int __p_android_log_print(int priority, const char* tag,
                                                                            const char* /*format*/, ...) {
  ++lines;
  if (priority != 6 || tag != std::string("LOG_HUMANBODYSEG")) ++wrong_lines;
  return 0;
}

TEST(Log, EveryLineHasTheErrorPriorityAndTheTag) {
  HumanBodySegHandle* const handle = pexoHumanBodySegCreate();
  for (const int32_t effect : {0, 1, 2, 3}) {
    pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_EFFECT_MODE, &effect);
    pexoHumanBodySegInit(handle);
    pexoHumanBodySegUninit(handle);
  }
  pexoHumanBodySegDestroy(handle);
  EXPECT_GT(lines, 20);
  EXPECT_EQ(wrong_lines, 0);
}
