// SPDX-License-Identifier: Apache-2.0
#include "live/director.h"

namespace pexo::live {

Outcome FailedOutcome(const char* reason) noexcept {
  try {
    return std::string(reason);
  } catch (...) {
    return std::string();
  }
}

bool Director::Take(const Outcome& outcome, Time now) {
  const Finished* finished = std::get_if<Finished>(&outcome);
  if (finished == nullptr) {
    session_.Fail();
    return false;
  }
  if (!session_.TakePicture(finished->has_person, finished->picture.captured(), now)) return false;
  output_.Show(finished->picture);
  return true;
}

void Director::ShowCardIfDue(Time now) {
  if (session_.TakeCardTurn(now)) output_.Show(card_);
}

}  // namespace pexo::live
