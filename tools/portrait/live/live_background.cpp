// SPDX-License-Identifier: Apache-2.0
#include "live/live_background.h"

#include <utility>

#include "common/failure.h"

namespace pexo::live {
namespace {

constexpr auto kLookPeriod = std::chrono::seconds(1);

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
  if (std::exchange(is_new_, false)) {
    start_ = now;
    return &background_->first();
  }
  return background_->At(std::chrono::duration<double>(now - start_).count());
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
