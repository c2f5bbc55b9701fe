// The frame path of a single thread: which stages run, what they answer, and the time.
#include <gtest/gtest.h>

#include "common/clock.h"
#include "tests/network/recording_network.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

TEST(Process, EndsAtTheFirstPositiveStatus) {
  const struct {
    int32_t set_input, predict, get_output, result;
    const char* stages;
    bool timed;
  } cases[] = {
      {0, 0, 0, 0, "ipo", true}, {3, 0, 0, 3, "i", false},   {0, 7, 0, 7, "ip", false},  {-3, -7, 0, 0, "ipo", true},
      {0, 0, 9, 2, "ipo", true}, {0, 0, -9, 2, "ipo", true}, {-3, 7, 0, 7, "ip", false}, {3, 7, 9, 3, "i", false},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    RecordingNetwork network(8, 4);
    network.mask.assign(16, 200);
    network.set_input_status = each.set_input;
    network.predict_status = each.predict;
    network.get_output_status = each.get_output;
    network.execute_time = -1.0f;
    TestImage frame(8, 8, 18), output(8, 8, 9);
    FrameParams params{.foreground_fraction = -1.0f};
    EXPECT_EQ(network.Process(frame, params, output), each.result);
    EXPECT_EQ(network.stages, each.stages);
    EXPECT_EQ(network.GetExecuteTime() >= 0.0f, each.timed);
    // Nothing is written unless the mask could be read.
    EXPECT_EQ(params.foreground_fraction, each.result == 0 ? 1.0f : -1.0f);
    EXPECT_EQ(output.bytes, std::vector<uint8_t>(64, each.result == 0 ? 200 : 0));
  }
}

TEST(Process, TimeIsInSinglePrecisionMilliseconds) {
  EXPECT_EQ(ElapsedMilliseconds({10, 250000}, {10, 253500}), 3.5f);
  EXPECT_EQ(ElapsedMilliseconds({10, 900000}, {12, 100000}), (-800000.0f / 1e6f + 2.0f) * 1000.0f);
  EXPECT_EQ(ElapsedMilliseconds({0, 0}, {0, 1}), 1.0f / 1e6f * 1000.0f);
}

TEST(FrameParams, IsFourWordsInOrder) {
  EXPECT_EQ(sizeof(FrameParams), 16u);
  EXPECT_EQ(offsetof(FrameParams, layout_mode), 4u);
  EXPECT_EQ(offsetof(FrameParams, foreground_fraction), 8u);
  EXPECT_EQ(offsetof(FrameParams, effect_mode), 12u);
}

}  // namespace
}  // namespace pexo
