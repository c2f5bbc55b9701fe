// SPDX-License-Identifier: Apache-2.0
// Decides what is shown: the one place where pictures meet the output.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_DIRECTOR_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_DIRECTOR_H_

#include <exception>
#include <string>
#include <utility>
#include <variant>

#include "live/output.h"
#include "live/renderer.h"
#include "live/session.h"

namespace pexo::live {

// A camera frame's fate: its picture, or why there is none.
using Outcome = std::variant<Finished, std::string>;

// Empty when there is no memory left for the reason.
Outcome FailedOutcome(const char* reason) noexcept;

// What `render` gives; whatever it throws is caught.
template <typename Render>
Outcome TryRender(Render&& render) noexcept {
  try {
    return render();
  } catch (const std::exception& error) {
    return FailedOutcome(error.what());
  } catch (...) {
    return FailedOutcome("unknown error");
  }
}

// One thread. `output` and `card` belong to the caller.
class Director {
 public:
  Director(const Session::Settings& settings, Output& output, const Picture& card)
      : session_(settings), output_(output), card_(card) {}

  Session& session() { return session_; }

  // Whether the picture went out.
  bool Take(const Outcome& outcome, Time now);
  // To be called when NextChange says so, and after every other call.
  void ShowCardIfDue(Time now);

 private:
  Session session_;
  Output& output_;
  const Picture& card_;
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_DIRECTOR_H_
