// SPDX-License-Identifier: Apache-2.0
#include "interruption.h"

#include <atomic>
#include <cerrno>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

namespace pexo::portrait {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGPIPE};

media::Stop the_stop;
static_assert(std::atomic<bool>::is_always_lock_free);  // as a signal handler needs it

void RequestStop(int) {
  the_stop.is_requested = true;
  const int error = errno;
  ::eventfd_write(the_stop.descriptor, 1);
  errno = error;
}

}  // namespace

Interruption::Interruption() {
  the_stop.is_requested = false;
  the_stop.descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (the_stop.descriptor < 0) throw std::system_error(errno, std::generic_category());
  struct sigaction action = {};
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  for (int i = 0; i < 3; ++i) {
    action.sa_handler = kSignals[i] == SIGPIPE ? SIG_IGN : RequestStop;
    ::sigaction(kSignals[i], &action, &before_[i]);
  }
}

Interruption::~Interruption() {
  for (int i = 0; i < 3; ++i) ::sigaction(kSignals[i], &before_[i], nullptr);
  ::close(the_stop.descriptor);
}

const media::Stop& Interruption::stop() {
  return the_stop;
}

}  // namespace pexo::portrait
