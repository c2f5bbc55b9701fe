// Whether somebody is there: thresholds of a frame, and what is kept over frames.
#include "api/presence.h"

#include <gtest/gtest.h>

#include <string>

namespace pexo {
namespace {

TEST(Presence, ThresholdsOfADirection) {
  const struct {
    int32_t direction;
    float fraction;
    bool present, obvious;
  } cases[] = {// compared in double: 0.12f and 0.24f lie below the constants, 0.05f and 0.1f above
               {0, 0.0f, false, false},    {0, 0.125f, true, false},  {0, 0.2401f, true, true},
               {1, 0.0499f, false, false}, {1, 0.0999f, true, false}, {7, 0.04f, false, false},
               {7, 0.11f, true, true},     {-1, 0.0f, true, false},   {-1, 1.0f, true, false},
               {0, 0.12f, false, false},   {0, 0.24f, true, false},   {1, 0.05f, true, false},
               {1, 0.1f, true, true}};
  for (const auto& each : cases) {
    EXPECT_EQ(IsPersonPresent(each.direction, each.fraction), each.present) << each.direction << " " << each.fraction;
    EXPECT_EQ(IsPersonObvious(each.direction, each.fraction), each.obvious) << each.direction << " " << each.fraction;
  }
}

TEST(Presence, ADecisionIsKeptOnTheSeventhFrameThatBringsIt) {
  // One letter a frame: the decision, and what is kept. P present, a absent.
  const std::pair<std::string, std::string> cases[] = {
      {"PPPPPPPPaaaaaaaaPPPPPPPPP", "PPPPPPPPPPPPPPaaaaaaaaPPP"},
      {"aaaaaaPaaaaaaaa", "PPPPPPPPPPPPPaa"},  // one frame short of it, and all over again
      {"aPaPaPaPaPaPaPaP", "PPPPPPPPPPPPPPPP"},
  };
  for (const auto& [frames, kept] : cases) {
    PresenceDebouncer presence;
    std::string answers;
    for (const char frame : frames) answers += presence.Update(frame == 'P') ? 'P' : 'a';
    EXPECT_EQ(answers, kept) << frames;
  }
}

}  // namespace
}  // namespace pexo
