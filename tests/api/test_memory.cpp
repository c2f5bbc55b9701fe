// Memory that runs out: at every allocation of Create, Init and Process in turn. What leaks shows in the sanitizer's
// report at the end of the program.
#include <gtest/gtest.h>

#include <functional>

#include "api/handle.h"
#include "tests/pipeline/failing_new.h"
#include "tests/support/fake_snpe.h"
#include "tests/support/frames.h"
#include "tests/support/log_lines.h"
#include "tests/support/model_file.h"
#include "tests/support/silence.h"

namespace pexo {
namespace {

using test::FailingNew;

// Calls `attempt` again and again, one more allocation succeeding each time, until none fails; `check` sees each result
// that a failure came before. Returns how many there were.
template <typename Result>
int FailEachAllocation(const std::function<Result()>& attempt, const std::function<void(Result, int)>& check) {
  for (int allocation = 0;; ++allocation) {
    bool struck = false;
    Result result{};
    {
      const FailingNew failing(allocation);
      result = attempt();
      struck = FailingNew::Struck();
    }
    if (!struck) return allocation;
    check(result, allocation);
  }
}

class Memory : public ::testing::Test {
 protected:
  void SetUp() override { fake::SetEngine({}); }

  HumanBodySegHandle* NewHandle(int32_t effect) {
    HumanBodySegHandle* const handle = pexoHumanBodySegCreate();
    pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_EFFECT_MODE, &effect);
    pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_MODEL_PATH, model.path().c_str());
    return handle;
  }
  static void End(HumanBodySegHandle* handle) {
    pexoHumanBodySegUninit(handle);
    pexoHumanBodySegDestroy(handle);
  }
  const Silence silence;
  const ModelFile model{"model.dlc"};
};

TEST_F(Memory, CreateAnswersNull) {
  HumanBodySegHandle* created = nullptr;
  const int failures =
      FailEachAllocation<HumanBodySegHandle*>([&] { return created = pexoHumanBodySegCreate(); },
                                              [](HumanBodySegHandle* handle, int) { EXPECT_EQ(handle, nullptr); });
  EXPECT_EQ(failures, 1);
  pexoHumanBodySegDestroy(created);
}

TEST_F(Memory, InitFailsAndCanBeTriedAgain) {
  for (const int32_t effect : {1, 2, 3}) {
    HumanBodySegHandle* const handle = NewHandle(effect);
    const int failures = FailEachAllocation<int32_t>([&] { return pexoHumanBodySegInit(handle); },
                                                     [&](int32_t status, int allocation) {
                                                       EXPECT_EQ(status, 5) << effect << ", " << allocation;
                                                       EXPECT_TRUE(handle->network == nullptr || effect != 3);
                                                       EXPECT_TRUE(handle->network == nullptr || allocation > 0);
                                                       if (handle->network != nullptr) pexoHumanBodySegUninit(handle);
                                                     });
    EXPECT_GT(failures, 10);
    EXPECT_NE(handle->network, nullptr);
    test::Frame frame = test::Frame::Noise(16, 16, 1);
    EXPECT_EQ(pexoHumanBodySegProcess(handle, &frame.image(), nullptr), 0);
    End(handle);
  }
}

TEST_F(Memory, ProcessFailsAndTheNextFrameIsRight) {
  for (const int32_t layout : {0, 1}) {
    const test::Frame original = test::Frame::Noise(48, 32, 1);
    fake::Engine engine;
    engine.outputs[0].shape = {1, 4, 4, 2};  // another size than the input's: every buffer is needed
    SetEngine(engine);
    const auto ready = [&] {
      HumanBodySegHandle* const handle = NewHandle(3);
      pexoHumanBodySegSetParam(handle, HUMANBODYSEG_PARAM_LAYOUT_MODE, &layout);
      EXPECT_EQ(pexoHumanBodySegInit(handle), 0);
      return handle;
    };
    HumanBodySegHandle* const untroubled = ready();
    test::Frame expected(original);
    ASSERT_EQ(pexoHumanBodySegProcess(untroubled, &expected.image(), nullptr), 0);
    End(untroubled);

    HumanBodySegHandle* const handle = ready();
    test::Frame frame(original);
    int refused = 0;
    FailEachAllocation<int32_t>([&] { return pexoHumanBodySegProcess(handle, &frame.image(), nullptr); },
                                [&](int32_t status, int) {
                                  // The image library's own memory may run out too: that conversion is then left out,
                                  // and the frame shows what comes of it.
                                  if (status == 0) {
                                    EXPECT_EQ(frame.pixels().back(), 128);
                                  } else {
                                    EXPECT_EQ(status, 5);
                                    EXPECT_EQ(frame.pixels(), original.pixels());
                                    ++refused;
                                  }
                                  frame.pixels() = original.pixels();
                                });
    EXPECT_GE(refused, 4);
    EXPECT_EQ(frame.pixels(), expected.pixels());
    End(handle);
  }
}

}  // namespace
}  // namespace pexo
