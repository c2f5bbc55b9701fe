// The version record. The date and time are those of the build, of this file to be exact.
#include "pexo/humanbodyseg.h"

namespace {

#define PEXO_BUILD_TIME __DATE__ "/" __TIME__

constexpr char kVersionString[] = "libpexohumanbodyseg_KDT_QCOM_DSP_V0.4.13_20200402_Medium 0.4.1302_" PEXO_BUILD_TIME;

constexpr HumanBodySegVersion kVersion = {
    .major = 0,
    .minor = 4,
    .build = 1302,
    .reserved = 0,
    .version_string = kVersionString,
    .build_time = kVersionString + sizeof(kVersionString) - sizeof(PEXO_BUILD_TIME),
};

}  // namespace

const HumanBodySegVersion* pexoHumanBodySegGetVersion(void) {
  return &kVersion;
}
