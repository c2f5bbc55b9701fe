// SPDX-License-Identifier: Apache-2.0
// The entries around a handle's life: statuses, log lines, what they store.
#include <gtest/gtest.h>

#include <climits>
#include <functional>

#include "api/handle.h"
#include "tests/support/handle.h"
#include "tests/support/log_lines.h"

namespace pexo {
namespace {

TEST(Entries, AnswerAndLogAsDocumented) {
  HumanBodySegHandle* handle = nullptr;
  const auto check = [](const char* what, const std::function<int32_t()>& call, int32_t status, const Lines& lines) {
    EXPECT_EQ(LogLines([&] { EXPECT_EQ(call(), status) << what; }), lines) << what;
  };
  const int32_t value = 1;
  const std::string version = std::string("Current version = [") + pexoHumanBodySegGetVersion()->version_string + "]";
  const std::string create = "pexoHumanBodySegCreate!", level = "Enter pexoHumanBodySegSetLogLevel!",
                    uninit = "Enter pexoHumanBodySegUninit!", destroy = "Enter pexoHumanBodySegDestroy!";
  check("create", [&] { return (handle = pexoHumanBodySegCreate()) == nullptr; }, 0,
        {"Enter " + create, version, "Exit " + create});

  check("set null", [&] { return pexoHumanBodySegSetParam(nullptr, 258, &value); }, 3, {"Handle or value is null!"});
  check("null value", [&] { return pexoHumanBodySegSetParam(handle, 258, nullptr); }, 3, {"Handle or value is null!"});
  check("no key", [&] { return pexoHumanBodySegSetParam(handle, 257, &value); }, 4, {"Unsupported key = 257!"});

  check("init null", [] { return pexoHumanBodySegInit(nullptr); }, 2,
        {"Enter pexoHumanBodySegInit!", "Handle is null!"});
  check("time of null", [] { return pexoHumanBodyGetExecuteTime(nullptr) != 0; }, 0, {"handle is null!"});
  check("no network", [&] { return pexoHumanBodyGetExecuteTime(handle) != 0; }, 0, {"network is null!"});
  check("uninit null", [] { return pexoHumanBodySegUninit(nullptr), 0; }, 0, {uninit, "Handle is null!"});
  check("no network", [&] { return pexoHumanBodySegUninit(handle), 0; }, 0, {uninit, "Network is null!"});

  check("level of null", [] { return pexoHumanBodySegSetLogLevel(nullptr, 0); }, 2, {level, "Handle is null!"});
  check("off", [&] { return pexoHumanBodySegSetLogLevel(handle, 0); }, 0, {level});
  check("silent", [&] { return pexoHumanBodySegSetParam(handle, 257, &value); }, 4, {});
  check("below zero", [&] { return pexoHumanBodySegSetLogLevel(handle, INT_MIN); }, 0, {});
  check("on", [&] { return pexoHumanBodySegSetLogLevel(handle, 1); }, 0, {"Exit pexoHumanBodySegSetLogLevel!"});

  check("destroy null", [] { return pexoHumanBodySegDestroy(nullptr), 0; }, 0, {destroy, "Handle is null!"});
  check("destroy", [&] { return pexoHumanBodySegDestroy(handle), 0; }, 0, {destroy, "Exit pexoHumanBodySegDestroy!"});
}

TEST(Entries, VersionIsOneStaticRecord) {
  const HumanBodySegVersion* version = pexoHumanBodySegGetVersion();
  EXPECT_EQ(version, pexoHumanBodySegGetVersion());
  EXPECT_EQ(std::vector({version->major, version->minor, version->build, version->reserved}),
            (std::vector{0, 4, 1302, 0}));
  const std::string fixed = "libpexohumanbodyseg_KDT_QCOM_DSP_V0.4.13_20200402_Medium 0.4.1302_";
  EXPECT_EQ(version->version_string, fixed + version->build_time);
  EXPECT_EQ(version->build_time, version->version_string + fixed.size());  // its tail, not a copy
}

TEST(Entries, ParametersAreBounded) {
  const test::Handle handle(0, "");
  const std::string longest(127, 'a'), too_long(128, 'b');
  const auto set_path = [&](const char* path) { return pexoHumanBodySegSetParam(handle.record, 259, path); };
  EXPECT_EQ(set_path(longest.c_str()), 0);
  EXPECT_EQ(LogLines([&] { EXPECT_EQ(set_path(too_long.c_str()), 3); }),
            Lines{"Model path is longer than 127 characters!"});
  EXPECT_EQ(handle->model_path, longest);
  EXPECT_EQ(set_path(handle->model_path + 120), 0);  // a part of the field itself
  EXPECT_STREQ(handle->model_path, "aaaaaaa");
  EXPECT_EQ(std::vector({handle->layout_mode, handle->rotation}), std::vector({0u, 0u}));
  EXPECT_EQ(std::vector({handle->camera_direction, handle->effect_mode}), std::vector({0, 0}));
}

}  // namespace
}  // namespace pexo
