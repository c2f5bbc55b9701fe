// SPDX-License-Identifier: Apache-2.0
#include "live/rendering.h"

#include <optional>

namespace pexo::live {

Rendering::Rendering(Renderer& renderer, Exchange<CameraFrame>& frames, Exchange<Outcome>& outcomes,
                     std::function<void()> is_there)
    : renderer_(renderer), frames_(frames), outcomes_(outcomes), is_there_(std::move(is_there)), worker_([this] {
        Work();
      }) {}

void Rendering::Work() {
  while (const std::optional<CameraFrame> frame = frames_.Take()) {
    std::optional<std::pair<double, BackgroundFeed>> change = change_.TryTake();
    outcomes_.Put(TryRender([&] {
      if (change) renderer_.Change(change->first, std::move(change->second));
      return renderer_.Render(*frame);
    }));
    is_there_();
  }
}

}  // namespace pexo::live
