// SPDX-License-Identifier: Apache-2.0
// Memory that runs out: at every allocation of Create, Init and Process in turn. What leaks shows in the sanitizer's
// report at the end of the program. The program's own log call takes the log library's place here.
#include <gtest/gtest.h>
#include <pexolog/log.h>

#include <atomic>
#include <cstring>

#include "api/handle.h"
#include "tests/support/failing_new.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/handle.h"
#include "tests/support/test_image.h"

namespace {

std::atomic<int> lines{0}, wrong_lines{0};

}  // namespace

extern "C" __attribute__((visibility("default"))) int __p_android_log_print(int priority, const char* tag,
                                                                            const char* /*format*/, ...) {
  ++lines;
  if (priority != 6 || std::strcmp(tag, "LOG_HUMANBODYSEG") != 0) ++wrong_lines;
  return 0;
}

namespace pexo::test {
namespace {

TEST(Memory, CreateAnswersNull) {
  HumanBodySegHandle* handle = nullptr;
  EXPECT_TRUE(Strikes(0, [&] { handle = pexoHumanBodySegCreate(); }));
  EXPECT_EQ(handle, nullptr);
}

TEST(Memory, InitCanBeTriedAgainAndLaterFramesOfEveryEffectAreRight) {
  constexpr uint32_t kInit = 100, kFrames = 12;  // steps that meet the failure: Init or a frame
  const struct {
    int32_t effect;
    uint32_t struck;
    int32_t struck_width;  // a frame of another size cannot take an earlier one's record
    uint32_t settled;      // the first frame after which all is as if nothing had been
  } cases[] = {{1, kInit, 64, 0}, {2, kInit, 64, 0}, {3, kInit, 64, 0}, {1, 4, 64, 7},
               {1, 4, 32, 7},     {2, 4, 64, 9},     {2, 4, 32, 9},     {3, 4, 64, 5}};
  fake::Engine engine;
  engine.outputs[0].shape = {1, 4, 4, 2};  // another size than the input's: every buffer is needed
  SetEngine(engine);
  for (const auto& each : cases) {
    std::vector<TestImage> expected;  // the settled frames
    bool struck = true;
    for (int allocation = -1; struck; ++allocation) {
      SCOPED_TRACE(testing::Message() << (&each - cases) << ", allocation " << allocation);
      Handle handle(each.effect);
      int32_t status = 0;
      const auto init = [&] { status = handle.Init(); };
      struck = each.struck == kInit && Strikes(allocation, init);
      if (struck) {
        EXPECT_EQ(status, 5);
        EXPECT_EQ(handle->network != nullptr, each.effect != 3 && allocation > 1);  // the pipeline and its list
        handle.Uninit();
      }
      if (struck || each.struck != kInit) init();
      EXPECT_EQ(status, 0);
      std::vector<TestImage> answers;
      for (uint32_t i = 0; i < kFrames; ++i) {
        const TestImage original = TestImage::Noise(i == each.struck ? each.struck_width : 64, 48, i);
        TestImage frame(original);
        const auto process = [&] { status = handle.Process(frame); };
        if (i == each.struck) {
          struck = Strikes(allocation, process);
          // The image library's own memory may run out too: that conversion is then left out.
          EXPECT_TRUE(status == 0 || (struck && status == 5)) << status;
          EXPECT_TRUE(status == 0 || frame == original);
        } else {
          process();
          EXPECT_EQ(status, 0);
        }
        if (i >= each.settled) answers.push_back(frame);
      }
      if (allocation < 0) expected = answers;
      EXPECT_TRUE(answers == expected);
      EXPECT_TRUE(struck || allocation != 0);
      struck = struck || allocation < 0;
    }
  }
  EXPECT_GT(lines, 50);
  EXPECT_EQ(wrong_lines, 0);
}

}  // namespace
}  // namespace pexo::test
