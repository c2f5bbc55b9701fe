// The entries around a handle's life: statuses, log lines, what they store.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>

#include "api/handle.h"
#include "tests/support/log_lines.h"
#include "tests/support/silence.h"

namespace pexo {
namespace {

TEST(Entries, AnswerAndLogAsDocumented) {
  HumanBodySegHandle* handle = nullptr;
  const int32_t value = 1;
  const auto set_param = [&](HumanBodySegHandle* to, int32_t key, const void* from) {
    return [=] { return pexoHumanBodySegSetParam(to, key, from); };
  };
  const auto none = [](void entry(HumanBodySegHandle*), HumanBodySegHandle* of) {
    return [=] {
      entry(of);
      return 0;
    };
  };
  const auto check = [](const char* what, const std::function<int32_t()>& call, int32_t status, const Lines& lines) {
    EXPECT_EQ(LogLines([&] { EXPECT_EQ(call(), status) << what; }), lines) << what;
  };
  const std::string version = std::string("Current version = [") + pexoHumanBodySegGetVersion()->version_string + "]";
  check("create", [&] { return (handle = pexoHumanBodySegCreate()) == nullptr; }, 0,
        {"Enter pexoHumanBodySegCreate!", version, "Exit pexoHumanBodySegCreate!"});

  check("null handle", set_param(nullptr, 258, &value), 3, {"Handle or value is null!"});
  check("null value", set_param(handle, 258, nullptr), 3, {"Handle or value is null!"});
  check("null value, unknown key", set_param(handle, 257, nullptr), 3, {"Handle or value is null!"});
  check("unknown key", set_param(handle, 257, &value), 4, {"Unsupported key = 257!"});
  check("unknown key", set_param(handle, 263, &value), 4, {"Unsupported key = 263!"});
  check("unknown key", set_param(handle, -1, &value), 4, {"Unsupported key = -1!"});
  check("known key", set_param(handle, 262, &value), 0, {});

  check("init without handle", [] { return pexoHumanBodySegInit(nullptr); }, 2,
        {"Enter pexoHumanBodySegInit!", "Handle is null!"});
  check("time without handle", [] { return pexoHumanBodyGetExecuteTime(nullptr) == 0.0f ? 0 : 1; }, 0,
        {"handle is null!"});
  check("time without network", [&] { return pexoHumanBodyGetExecuteTime(handle) == 0.0f ? 0 : 1; }, 0,
        {"network is null!"});
  check("uninit without handle", none(pexoHumanBodySegUninit, nullptr), 0,
        {"Enter pexoHumanBodySegUninit!", "Handle is null!"});
  check("uninit without network", none(pexoHumanBodySegUninit, handle), 0,
        {"Enter pexoHumanBodySegUninit!", "Network is null!"});

  const std::string enter = "Enter pexoHumanBodySegSetLogLevel!", exit = "Exit pexoHumanBodySegSetLogLevel!";
  const auto set_level = [&](HumanBodySegHandle* of, int32_t level) {
    return [=] { return pexoHumanBodySegSetLogLevel(of, level); };
  };
  check("level without handle", set_level(nullptr, 0), 2, {enter, "Handle is null!"});
  check("still on", set_level(handle, 1), 0, {enter, exit});
  check("off", set_level(handle, 0), 0, {enter});
  check("silent", set_param(handle, 257, &value), 4, {});
  check("silent", none(pexoHumanBodySegUninit, handle), 0, {});
  check("below zero", set_level(handle, INT_MIN), 0, {});
  check("on again", set_level(handle, INT_MAX), 0, {exit});
  check("on", set_level(handle, 1), 0, {enter, exit});

  check("destroy nothing", none(pexoHumanBodySegDestroy, nullptr), 0,
        {"Enter pexoHumanBodySegDestroy!", "Handle is null!"});
  check("destroy", none(pexoHumanBodySegDestroy, handle), 0,
        {"Enter pexoHumanBodySegDestroy!", "Exit pexoHumanBodySegDestroy!"});
}

TEST(Entries, VersionIsOneStaticRecord) {
  const HumanBodySegVersion* version = pexoHumanBodySegGetVersion();
  EXPECT_EQ(version, pexoHumanBodySegGetVersion());
  EXPECT_EQ(std::vector({version->major, version->minor, version->build, version->reserved}),
            (std::vector{0, 4, 1302, 0}));
  const std::string fixed = "libpexohumanbodyseg_KDT_QCOM_DSP_V0.4.13_20200402_Medium 0.4.1302_";
  EXPECT_EQ(version->version_string, fixed + version->build_time);
  EXPECT_EQ(version->build_time, version->version_string + fixed.size());  // its tail, not a copy
  std::tm time{};
  const char* const end = strptime(version->build_time, "%b %e %Y/%H:%M:%S", &time);
  EXPECT_TRUE(end != nullptr && *end == '\0') << version->build_time;
}

class Handle : public ::testing::Test {
 protected:
  void TearDown() override { pexoHumanBodySegDestroy(handle); }

  std::vector<int64_t> Fields() const {
    return {handle->layout_mode, handle->rotation, handle->camera_direction, handle->effect_mode};
  }
  const Silence silence;
  HumanBodySegHandle* const handle = [] {
    const std::unique_ptr<HumanBodySegHandle> used(new HumanBodySegHandle);
    std::memset(static_cast<void*>(used.get()), 0xEE, sizeof(HumanBodySegHandle));
    return pexoHumanBodySegCreate();  // likely in the memory of the one that goes
  }();
};

TEST_F(Handle, StartsWithDefaults) {
  EXPECT_EQ(handle->network, nullptr);
  EXPECT_EQ(Fields(), (std::vector<int64_t>{0, 0, 0, 0}));
  EXPECT_STREQ(handle->model_path, "");
}

TEST_F(Handle, KeepsEveryParameterInItsOwnField) {
  const struct {
    int32_t key;
    uint32_t value;
    std::vector<int64_t> fields;
  } cases[] = {{258, 7, {7, 0, 0, 0}},
               {260, 0xFFFFFFFFu, {7, 4294967295, 0, 0}},
               {261, 0xFFFFFFFFu, {7, 4294967295, -1, 0}},
               {262, 0x80000000u, {7, 4294967295, -1, -2147483648}}};
  for (const auto& each : cases) {
    char unaligned[5];
    std::memcpy(unaligned + 1, &each.value, 4);
    EXPECT_EQ(pexoHumanBodySegSetParam(handle, each.key, unaligned + 1), 0);
    EXPECT_EQ(Fields(), each.fields);
  }
  EXPECT_STREQ(handle->model_path, "");
}

TEST_F(Handle, BoundsTheModelPath) {
  const std::string longest(127, 'a'), too_long(128, 'b'), far_too_long(4000, 'c');
  const auto set_path = [&](const char* path) { return pexoHumanBodySegSetParam(handle, 259, path); };
  EXPECT_EQ(set_path(longest.c_str()), 0);
  EXPECT_EQ(handle->model_path, longest);
  EXPECT_EQ(set_path(too_long.c_str()), 3);
  EXPECT_EQ(set_path(far_too_long.c_str()), 3);
  EXPECT_EQ(handle->model_path, longest);
  EXPECT_EQ(set_path(handle->model_path + 120), 0);  // a part of the field itself
  EXPECT_STREQ(handle->model_path, "aaaaaaa");
  EXPECT_EQ(set_path(""), 0);
  EXPECT_STREQ(handle->model_path, "");
  log_level = 1;
  EXPECT_EQ(LogLines([&] { set_path(too_long.c_str()); }), Lines{"Model path is longer than 127 characters!"});
  log_level = 0;
  EXPECT_EQ(Fields(), (std::vector<int64_t>{0, 0, 0, 0}));
}

}  // namespace
}  // namespace pexo
