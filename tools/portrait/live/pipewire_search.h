// SPDX-License-Identifier: Apache-2.0
#ifndef PEXO_TOOLS_PORTRAIT_LIVE_PIPEWIRE_SEARCH_H_
#define PEXO_TOOLS_PORTRAIT_LIVE_PIPEWIRE_SEARCH_H_

#include <optional>
#include <string>

namespace pexo::live {

// The name of the first camera in PipeWire that is not called `other_than`, or none. Throws tools::Failure without
// PipeWire.
std::optional<std::string> FindPipeWireCamera(const std::string& other_than);

}  // namespace pexo::live

#endif  // PEXO_TOOLS_PORTRAIT_LIVE_PIPEWIRE_SEARCH_H_
