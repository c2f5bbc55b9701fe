// SPDX-License-Identifier: Apache-2.0
#include "live/live_background.h"

#include <algorithm>
#include <utility>

#include "common/failure.h"

namespace pexo::live {
namespace {

constexpr auto kLookPeriod = std::chrono::seconds(1);

// How far a film goes on from picture to picture. After a night's sleep it is not decoded for hours, and one that is
// decoded too slowly is shown too slowly instead of falling ever farther behind.
constexpr Clock::duration kMaxStep = std::chrono::milliseconds(150);

}  // namespace

LiveBackground::LiveBackground(const portrait::BackgroundChoice& choice)
    : choice_(choice),
      version_(VersionOfFile()),
      background_(std::make_unique<portrait::MovingBackground>(choice, 0)) {}

const compositor::Background* LiveBackground::At(Time now) {
  if (now - looked_ >= kLookPeriod) {
    looked_ = now;
    ReadAgainIfReplaced();
  }
  const Clock::duration step = std::min(now - std::exchange(asked_, now), kMaxStep);
  if (std::exchange(is_new_, false)) {
    position_ = {};
    return &background_->first();
  }
  position_ += step;
  try {
    return background_->At(std::chrono::duration<double>(position_).count());
  } catch (const tools::Failure&) {
    return nullptr;  // a film that is gone when it is to begin again
  }
}

LiveBackground::Version LiveBackground::VersionOfFile() const {
  const auto* file = std::get_if<portrait::BackgroundFile>(&choice_);
  struct stat status {};
  if (file == nullptr || ::stat(file->path.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim};
}

void LiveBackground::ReadAgainIfReplaced() {
  const Version version = VersionOfFile();
  if (version == version_ || version == Version{}) return;
  try {
    background_ = std::make_unique<portrait::MovingBackground>(choice_, 0);
    is_new_ = true;
    version_ = version;
  } catch (const tools::Failure&) {
  }
}

}  // namespace pexo::live
