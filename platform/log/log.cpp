// SPDX-License-Identifier: Apache-2.0
// The log library for a computer: one line per message on standard error, "TAG: message", or silence.
#include <pexolog/log.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

namespace {

bool IsOff() {
  const char* wish = std::getenv("PEXO_LOG");
  return wish != nullptr && std::strcmp(wish, "off") == 0;
}

}  // namespace

extern "C" [[gnu::visibility("default")]] int __p_android_log_print(int /*priority*/, const char* tag,
                                                                    const char* format, ...) try {
  if (format == nullptr) return -1;
  static const bool is_off = IsOff();
  if (is_off) return 0;
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list counting;
  va_copy(counting, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, counting);
  va_end(counting);
  if (length < 0) {
    va_end(arguments);
    return -1;
  }
  std::string line(tag == nullptr ? "" : tag);
  line += ": ";
  const std::size_t start = line.size();
  line.resize(start + static_cast<std::size_t>(length) + 1);  // room for vsnprintf's terminator
  std::vsnprintf(line.data() + start, static_cast<std::size_t>(length) + 1, format, arguments);
  va_end(arguments);
  line.pop_back();
  while (!line.empty() && line.back() == '\n') line.pop_back();
  line += '\n';
  // One write call, so that lines of several threads do not mix.
  return static_cast<int>(::write(STDERR_FILENO, line.data(), line.size()));
} catch (...) {
  return -1;
}
