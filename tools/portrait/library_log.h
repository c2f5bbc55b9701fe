// SPDX-License-Identifier: Apache-2.0
// The library's log in this program, which takes the place of the log library's own function.
#ifndef PEXO_TOOLS_PORTRAIT_LIBRARY_LOG_H_
#define PEXO_TOOLS_PORTRAIT_LIBRARY_LOG_H_

#include <optional>
#include <string>

namespace pexo::portrait {

// Whether the lines are printed, as the log library prints them. At first they are not.
void SetLibraryLogPrinted(bool printed);

// Why the inference engine rejected the last model that it did not take; empty if it said nothing.
std::string EngineReason();

// What the library says has failed since the last call; empty if nothing has. Effects 1 and 2 give a frame back as it
// was when the network fails on it, and answer that all is well.
std::string TakeFailure();

// The pictures that a model takes, in pixels.
struct ModelInput {
  int width, height;
};

// Those of the last model that was loaded; nothing before the first.
std::optional<ModelInput> LastModelInput();

}  // namespace pexo::portrait

#endif  // PEXO_TOOLS_PORTRAIT_LIBRARY_LOG_H_
