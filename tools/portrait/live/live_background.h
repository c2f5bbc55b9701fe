// SPDX-License-Identifier: Apache-2.0
// The chosen background for as long as the program runs: films go on, and a file that is replaced is read again.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_LIVE_BACKGROUND_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_LIVE_BACKGROUND_H_

#include <sys/stat.h>

#include <memory>

#include "background_choice.h"
#include "live/picture.h"

namespace pexo::live {

class LiveBackground {
 public:
  // Throws tools::Failure.
  explicit LiveBackground(const portrait::BackgroundChoice& choice);

  // The background from now on, or null while it stays as it was. A film goes on by the time since the last call, and
  // waits when there is none for long. A new file that cannot be read, as one that is being written, is tried again a
  // second later.
  const compositor::Background* At(Time now);

 private:
  struct Version {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    bool operator==(const Version& other) const {
      return device == other.device && inode == other.inode && size == other.size &&
             modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
    }
  };

  Version VersionOfFile() const;
  void ReadAgainIfReplaced();

  portrait::BackgroundChoice choice_;
  Version version_;
  std::unique_ptr<portrait::MovingBackground> background_;
  bool is_new_ = true;
  Clock::duration position_{};  // in a film
  Time asked_{};                // the last call
  Time looked_{};               // at the file
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_LIVE_BACKGROUND_H_
