#include "tests/support/qmx_calls.h"

#include <dlfcn.h>
#include <qmx/qmx_image.h>

#include <sstream>
#include <utility>

namespace {

thread_local std::vector<std::string> calls;

template <typename... Parts>
void Record(const Parts&... parts) {
  std::ostringstream line;
  (line << ... << parts);
  calls.push_back(line.str());
}

template <typename... Arguments>
int32_t Forward(const char* name, Arguments... arguments) {
  using Function = int32_t (*)(Arguments...);
  static void* const library = dlopen("libqmx_cv.so", RTLD_LAZY);  // the linker may have left it out
  return reinterpret_cast<Function>(dlsym(library, name))(arguments...);
}

int32_t Convert(const char* name, const QmxImage* source, QmxImage* destination) {
  Record(name, " ", source->width, "x", source->height);
  return Forward(name, source, destination);
}

}  // namespace

std::vector<std::string> pexo::TakeQmxCalls() {
  return std::exchange(calls, {});
}

#define PEXO_FORWARDED extern "C" __attribute__((visibility("default"))) int32_t

PEXO_FORWARDED qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation) {
  Record("qmxResize ", source->width, "x", source->height, " ", destination->width, "x", destination->height, " ",
         interpolation);
  return Forward("qmxResize", source, destination, interpolation);
}
PEXO_FORWARDED qmxColorNV21toRGB888u8(const QmxImage* source, QmxImage* destination) {
  return Convert("qmxColorNV21toRGB888u8", source, destination);
}
PEXO_FORWARDED qmxColorNV21toBGR888u8(const QmxImage* source, QmxImage* destination) {
  return Convert("qmxColorNV21toBGR888u8", source, destination);
}
PEXO_FORWARDED qmxColorRGB888toNV21u8(const QmxImage* source, QmxImage* destination) {
  return Convert("qmxColorRGB888toNV21u8", source, destination);
}
PEXO_FORWARDED qmxColorBGR888toNV21u8(const QmxImage* source, QmxImage* destination) {
  return Convert("qmxColorBGR888toNV21u8", source, destination);
}
