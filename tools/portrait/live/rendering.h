// SPDX-License-Identifier: Apache-2.0
// The renderer's own thread.
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_RENDERING_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_RENDERING_H_

#include <functional>
#include <utility>

#include "live/director.h"
#include "live/exchange.h"
#include "live/worker.h"

namespace pexo::live {

class Rendering {
 public:
  // `is_there` is called from the thread when an outcome lies in `outcomes`. Ends when `frames` is closed.
  Rendering(Renderer& renderer, Exchange<CameraFrame>& frames, Exchange<Outcome>& outcomes,
            std::function<void()> is_there);

  // As Renderer::Change, before the next frame. The newest change alone counts.
  void Change(double calm, BackgroundFeed feed) { change_.Put({calm, std::move(feed)}); }
  bool EndsWithin(std::chrono::milliseconds limit) { return worker_.EndsWithin(limit); }

 private:
  void Work();

  Renderer& renderer_;
  Exchange<CameraFrame>& frames_;
  Exchange<Outcome>& outcomes_;
  const std::function<void()> is_there_;
  Exchange<std::pair<double, BackgroundFeed>> change_;
  Worker worker_;  // last: it uses all of the above
};

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_RENDERING_H_
