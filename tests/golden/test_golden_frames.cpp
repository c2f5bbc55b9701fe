// SPDX-License-Identifier: Apache-2.0
// Whole frames of the photograph with the real models through all three effects: one table for every processor.
//
// The engine's floating point has a form for every processor, so its scores may differ by a level here and there. All
// that follows is exact. So the frames are rendered twice: from the scores in this folder, to the byte, and from the
// engine's own, which must be close to those, and the frames as close as that makes them.
//
// When models or effects change: PEXO_GOLDEN_RECORD=<folder> writes the engine's scores there, as pictures to be
// converted to PNG, and the failures name the new frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <ios>
#include <stdexcept>
#include <string>
#include <vector>

#include "kernels/kernel_table.h"
#include "network/network.h"
#include "tests/support/handle.h"
#include "tests/support/test_image.h"

namespace pexo::test {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes replayed_scores;  // instead of the engine's, unless empty
Bytes engine_scores;    // of the last frame

// A picture's samples in a pixel format. Without vector code, which rounds otherwise on other processors.
Bytes Read(const std::string& picture, const std::string& filters, const std::string& format) {
  const std::string command = "'" PEXO_FFMPEG "' -v error -cpuflags 0 -idct simple -i '" + picture + "' -vf '" +
                              filters + ",format=" + format + "' -sws_flags area+accurate_rnd+bitexact -f rawvideo -";
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error(command);
  Bytes samples(1 << 22);
  samples.resize(std::fread(samples.data(), 1, samples.size(), pipe));
  if (::pclose(pipe) != 0) throw std::runtime_error(command);
  return samples;
}

// FNV-1a.
uint32_t Hash(const Bytes& bytes) {
  uint32_t hash = 0x811c9dc5;
  for (const uint8_t byte : bytes) hash = (hash ^ byte) * 0x01000193;
  return hash;
}

struct Golden {
  const char* model;
  const char* scores;  // a picture with a byte of the scores per sample
  int32_t width, height;
  const char* filters;  // from the photograph to the frame
  int32_t rotation, layout_mode;
  uint32_t frame;        // the hash of what goes in
  uint32_t rendered[3];  // of what becomes of it with effects 1 to 3
};

constexpr char kBig[] = "MoviePortraitBig", kSmall[] = "MoviePortraitSmall", kWide[] = "MoviePortraitSmallWide";
constexpr Golden kGolden[] = {
    {kBig, "big", 640, 480, "scale=640:-1,crop=640:480:0:0", 0, 0, 0xd289ec0e, {0x7f21ea75, 0xd481fe59, 0xb6f627a3}},
    {kBig, "big", 640, 480, "scale=640:-1,crop=640:480:0:0", 0, 1, 0xd289ec0e, {0x02005c7c, 0x12edc6a9, 0xcffc697f}},
    {kBig, "turned", 328, 250, "scale=250:328,transpose=2", 90, 0, 0x61559f5d, {0xab853aa2, 0x2a8ace60, 0x1f43d304}},
    {kSmall, "small", 344, 402, "scale=344:402", 0, 0, 0x6143a814, {0xcb050276, 0x09fe25f1, 0x225317ce}},
    {kWide, "wide", 1920, 1080, "scale=-1:1080,pad=1920:0:498", 0, 0, 0x5e602c9e, {0xf85061a8, 0x9fd242e8, 0x02fea25a}},
};

// The frame when it comes back, after all the calls that it is late.
Bytes Rendered(const Golden& golden, const Bytes& frame, int32_t effect) {
  Handle handle(effect, std::string(PEXO_MODELS_DIR "/") + golden.model + ".dlc");
  handle.Set(PARAM_ROTATION, golden.rotation);
  handle.Set(PARAM_LAYOUT_MODE, golden.layout_mode);
  if (handle.Init() != HUMANBODYSEG_OK) throw std::runtime_error("no network");
  Bytes rendered;
  constexpr int kCallsLate[] = {HUMANBODYSEG_COLOUR_CALLS_LATE, HUMANBODYSEG_BLUR_CALLS_LATE,
                                HUMANBODYSEG_MASK_CALLS_LATE};
  for (int late = kCallsLate[effect - 1]; late >= 0; --late) {
    rendered = frame;
    QmxImage image{QMX_FORMAT_NV21, golden.width, golden.height, {}, {golden.width, golden.width}};
    image.plane[0] = rendered.data();
    image.plane[1] = rendered.data() + golden.width * golden.height;
    if (handle.Process(image) != HUMANBODYSEG_OK) throw std::runtime_error("no frame");
  }
  return rendered;
}

struct Difference {
  size_t count = 0;  // of bytes that differ
  int levels = 0;    // by which they do, at most

  Difference(const Bytes& a, const Bytes& b) {
    if (a.size() != b.size()) throw std::runtime_error("of another size");
    for (size_t i = 0; i < a.size(); ++i) {
      count += a[i] != b[i];
      levels = std::max(levels, std::abs(a[i] - b[i]));
    }
  }
};

class GoldenFrames : public testing::TestWithParam<Golden> {};

// Processors seen: at most 8 of 131,072 scores differ (SSE beside AVX-512; two with NEON or AVX), each by one level;
// and 15 of a frame's bytes, by up to 5 levels. One level of a score is up to 32 of the mask.
TEST_P(GoldenFrames, AreTheSameOnEveryProcessor) {
  const Golden& golden = GetParam();
  const Bytes frame = Read(PEXO_PHOTOGRAPH, golden.filters, "nv21");
  ASSERT_EQ(frame.size(), static_cast<size_t>(golden.width * golden.height * 3 / 2));
  EXPECT_EQ(Hash(frame), golden.frame) << "goes in: 0x" << std::hex << Hash(frame);
  const Bytes scores = Read(std::string(PEXO_GOLDEN_SCORES "/") + golden.scores + ".png", "null", "gray");
  for (const int32_t effect : {HUMANBODYSEG_EFFECT_COLOUR, HUMANBODYSEG_EFFECT_BLUR, HUMANBODYSEG_EFFECT_MASK}) {
    SCOPED_TRACE(testing::Message() << golden.scores << ", layout " << golden.layout_mode << ", effect " << effect);
    replayed_scores = scores;
    Bytes expected;
    for (const KernelTier& tier : KernelTiers()) {
      ForceKernelTier(tier);
      expected = Rendered(golden, frame, effect);
      EXPECT_EQ(Hash(expected), golden.rendered[effect - 1]) << tier.name << ": 0x" << std::hex << Hash(expected);
    }
    replayed_scores.clear();
    const Bytes rendered = Rendered(golden, frame, effect);
    const Difference of_scores(engine_scores, scores), of_bytes(rendered, expected);
    EXPECT_LE(of_scores.count, 16u);
    EXPECT_LE(of_scores.levels, 1);
    EXPECT_LE(of_bytes.count, frame.size() / 500);
    EXPECT_LE(of_bytes.levels, 64);
  }
  if (const char* folder = std::getenv("PEXO_GOLDEN_RECORD")) {
    const size_t rows = std::string(golden.scores) == "wide" ? 144 : 256;
    std::ofstream(std::string(folder) + "/" + golden.scores + ".pgm", std::ios::binary)
        << "P5 " << engine_scores.size() / rows << " " << rows << " 255\n"
        << std::string(engine_scores.begin(), engine_scores.end());
  }
}
INSTANTIATE_TEST_SUITE_P(, GoldenFrames, testing::ValuesIn(kGolden));

}  // namespace
}  // namespace pexo::test

// pexo::DecodeMask, where the scores arrive.
extern "C" void __real__ZN4pexo10DecodeMaskERKNS_7NetworkEPKhPhf(const pexo::Network& network, const uint8_t* scores,
                                                                 uint8_t* mask, float threshold);
extern "C" void __wrap__ZN4pexo10DecodeMaskERKNS_7NetworkEPKhPhf(const pexo::Network& network, const uint8_t* scores,
                                                                 uint8_t* mask, float threshold) {
  using namespace pexo::test;
  engine_scores.assign(scores, scores + network.output_width * network.output_height * network.output_channels);
  __real__ZN4pexo10DecodeMaskERKNS_7NetworkEPKhPhf(network, replayed_scores.empty() ? scores : replayed_scores.data(),
                                                   mask, threshold);
}
