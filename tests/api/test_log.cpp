// How lines leave the library. The program's own log call takes the log library's place here.
#include <gtest/gtest.h>
#include <pexolog/log.h>

#include <cstdarg>
#include <cstdio>

#include "api/handle.h"
#include "common/log.h"

namespace {

struct Line {
  int priority;
  std::string tag, message;
};
std::vector<Line>* lines = nullptr;

}  // namespace

extern "C" __attribute__((visibility("default"))) int __p_android_log_print(int priority, const char* tag,
                                                                            const char* format, ...) {
  if (lines == nullptr) return 0;
  char message[512];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(message, sizeof(message), format, arguments);
  va_end(arguments);
  lines->push_back({priority, tag, message});
  return length;
}

TEST(Log, EveryLineHasTheErrorPriorityAndTheTag) {
  std::vector<Line> recorded;
  lines = &recorded;
  pexo::log_level = 1;
  HumanBodySegHandle* const handle = pexoHumanBodySegCreate();
  for (const int32_t effect : {0, 1, 2, 3}) {
    pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_EFFECT_MODE, &effect);
    pexoHumanBodySegInit(handle);
    pexoHumanBodySegUninit(handle);
  }
  pexoHumanBodySegDestroy(handle);
  lines = nullptr;
  ASSERT_GT(recorded.size(), 20u);
  for (const Line& line : recorded) {
    EXPECT_EQ(line.priority, 6) << line.message;
    EXPECT_EQ(line.tag, "LOG_HUMANBODYSEG") << line.message;
  }
}
