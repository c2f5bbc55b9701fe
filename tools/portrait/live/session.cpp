// SPDX-License-Identifier: Apache-2.0
#include "live/session.h"

#include <algorithm>

namespace pexo::live {

void Session::SetWatched(bool is_watched, Time now) {
  if (is_watched == is_watched_) return;
  if (is_watched && !WantsCamera(now)) {
    picture_.reset();
    person_.reset();
    has_failed_ = false;
    opened_ = now;
  }
  is_watched_ = is_watched;
  card_.reset();
  left_.reset();
  if (!is_watched) left_ = now;
}

bool Session::TakePicture(bool has_person, Time captured, Time now) {
  if (!WantsCamera(now) || captured < opened_) return false;
  has_failed_ = false;
  picture_ = now;
  if (has_person) person_ = now;
  return is_watched_ && StateAt(now) == State::kRunning;
}

void Session::Fail() {
  picture_.reset();
  has_failed_ = true;
}

Session::State Session::StateAt(Time now) const {
  if (!WantsCamera(now)) return State::kAsleep;
  if (!picture_) return has_failed_ ? State::kCard : State::kOpening;
  return now - *picture_ < kFresh && !IsEmpty(now) ? State::kRunning : State::kCard;
}

bool Session::WantsCamera(Time now) const {
  return is_watched_ || (left_ && now - *left_ < kLinger);
}

bool Session::IsEmpty(Time now) const {
  return !settings_.shows_empty && (!person_ || now - *person_ >= kPresent);
}

bool Session::TakeCardTurn(Time now) {
  if (!is_watched_ || StateAt(now) == State::kRunning) return false;
  if (card_ && now - *card_ < settings_.card_period) return false;
  card_ = now;
  return true;
}

std::optional<Time> Session::NextChange(Time now) const {
  if (!is_watched_) return WantsCamera(now) ? std::optional(*left_ + kLinger) : std::nullopt;
  if (StateAt(now) != State::kRunning) return card_ ? *card_ + settings_.card_period : now;
  const Time stale = *picture_ + kFresh;
  return settings_.shows_empty ? stale : std::min(stale, *person_ + kPresent);
}

}  // namespace pexo::live
