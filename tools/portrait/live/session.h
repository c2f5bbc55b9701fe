// SPDX-License-Identifier: Apache-2.0
// When the camera is open, and what is shown. No threads and no clock of its own: every call says what time it is, and
// no call's time lies before that of the one before.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_SESSION_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_SESSION_H_

#include <chrono>
#include <optional>

#include "live/picture.h"

namespace pexo::live {

class Session {
 public:
  enum class State {
    kAsleep,   // nobody looks; the camera is closed
    kOpening,  // somebody looks, and no picture is finished yet
    kRunning,  // pictures are shown as they are finished
    kCard      // the card instead: rendering failed or stalled, the camera is gone, or nobody is there
  };

  struct Settings {
    Clock::duration card_period = std::chrono::milliseconds(33);
    bool shows_empty = true;  // pictures without a person too, or else the card
  };

  // A picture counts for this long; then the card is shown until the next one.
  static constexpr Clock::duration kFresh = std::chrono::milliseconds(500);
  // A person counts as present this long after the last detection.
  static constexpr Clock::duration kPresent = std::chrono::seconds(1);
  // The camera stays open for this long after the last look, for programs that try a camera and then use it.
  static constexpr Clock::duration kLinger = std::chrono::milliseconds(500);

  explicit Session(const Settings& settings) : settings_(settings) {}

  void SetShowsEmpty(bool shows_empty) { settings_.shows_empty = shows_empty; }
  void SetWatched(bool is_watched, Time now);
  // Whether the picture of what the camera saw at `captured` may be shown. Those of an earlier look may not.
  bool TakePicture(bool has_person, Time captured, Time now);
  void Fail();  // rendering, or the camera; until the next picture

  State StateAt(Time now) const;
  bool WantsCamera(Time now) const;
  // Whether the card is to be shown now. Then not again for one card period.
  bool TakeCardTurn(Time now);
  // When the next call of one of the three above may answer something else; none while asleep.
  std::optional<Time> NextChange(Time now) const;

 private:
  bool IsEmpty(Time now) const;

  Settings settings_;
  bool is_watched_ = false;
  Time opened_{};                // when the camera began to be wanted
  std::optional<Time> left_;     // when the last look ended, until the camera is closed
  std::optional<Time> picture_;  // the last one finished since the camera was opened and nothing failed
  std::optional<Time> person_;   // the last one with a person since the camera was opened
  std::optional<Time> card_;     // shown last
  bool has_failed_ = false;
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_SESSION_H_
