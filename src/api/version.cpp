// SPDX-License-Identifier: Apache-2.0
// The version record. The date and time are those of the build, of this file to be exact; the numbers
// are the project's.
#include "pexo/humanbodyseg.h"

namespace {

#define PEXO_TEXT_OF(number) #number
#define PEXO_VERSION_TEXT(major, minor, build) PEXO_TEXT_OF(major) "." PEXO_TEXT_OF(minor) "." PEXO_TEXT_OF(build)
#define PEXO_VERSION PEXO_VERSION_TEXT(PEXO_VERSION_MAJOR, PEXO_VERSION_MINOR, PEXO_VERSION_BUILD)
#define PEXO_BUILD_TIME __DATE__ "/" __TIME__

constexpr char kVersionString[] =
    "libpexohumanbodyseg_KDT_QCOM_DSP_V0.4.13_20200402_Medium " PEXO_VERSION "_" PEXO_BUILD_TIME;

constexpr HumanBodySegVersion kVersion = {
    .major = PEXO_VERSION_MAJOR,
    .minor = PEXO_VERSION_MINOR,
    .build = PEXO_VERSION_BUILD,
    .reserved = 0,
    .version_string = kVersionString,
    .build_time = kVersionString + sizeof(kVersionString) - sizeof(PEXO_BUILD_TIME),
};

}  // namespace

const HumanBodySegVersion* pexoHumanBodySegGetVersion(void) {
  return &kVersion;
}
