// SPDX-License-Identifier: Apache-2.0
#include "library_log.h"

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <string_view>
#include <utility>

#include <dlfcn.h>

#include <pexolog/log.h>

namespace pexo::portrait {
namespace {

// The library's line after which the engine's own words follow.
constexpr std::string_view kRefusal = "SNPEBuilder build failed.";
// And the one with a model's tensors, each as height, width and channels.
constexpr char kModelSize[] = "DLC size = %d * %d * %*d -> %*d * %*d * %*d";
// What lines on a frame begin with that the library gives back as it was, all person.
constexpr std::string_view kFailure = "Fail to ";
constexpr std::size_t kMaxLine = 4096;  // the rest of a longer one is cut, as in a device's log

std::atomic<bool> is_printed = false;

// Lines come from all of the library's threads.
std::mutex mutex;
bool reason_follows = false;
std::string reason;
std::optional<ModelInput> model_input;
std::string failure;

// Of what the programs would like to know and the nine functions do not tell.
void Learn(const char* text) {
  const std::string_view line = text;
  const std::lock_guard lock(mutex);
  if (ModelInput input; std::sscanf(text, kModelSize, &input.height, &input.width) == 2) model_input = input;
  if (line.starts_with(kFailure)) failure = line;
  if (reason_follows) reason = line;
  reason_follows = line.ends_with(kRefusal);
  if (reason_follows) reason.clear();
}

int Print(int priority, const char* tag, const char* line) {
  using Function = int (*)(int, const char*, const char*, ...);
  static const auto log_library = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "__p_android_log_print"));
  return log_library == nullptr ? -1 : log_library(priority, tag, "%s", line);
}

}  // namespace

void SetLibraryLogPrinted(bool printed) {
  is_printed = printed;
}

std::string EngineReason() {
  const std::lock_guard lock(mutex);
  return reason;
}

std::string TakeFailure() {
  const std::lock_guard lock(mutex);
  return std::exchange(failure, {});
}

std::optional<ModelInput> LastModelInput() {
  const std::lock_guard lock(mutex);
  return model_input;
}

}  // namespace pexo::portrait

// The program's symbols stand before those of any library: every line comes here first.
extern "C" [[gnu::visibility("default")]] int __p_android_log_print(int priority, const char* tag, const char* format,
                                                                    ...) try {
  using namespace pexo::portrait;
  char line[kMaxLine];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  if (length < 0) return length;
  Learn(line);
  return is_printed ? Print(priority, tag, line) : length;
} catch (...) {
  return -1;
}
