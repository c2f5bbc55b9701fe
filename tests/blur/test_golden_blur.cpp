// One table of hashes for every tier and every processor.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "blur/background_blur.h"
#include "blur/plane_filters.h"
#include "kernels/kernel_table.h"
#include "kernels/mask_kernels.h"
#include "tests/blur/test_data.h"

namespace pexo {
namespace {

using testing::TestImage;

constexpr int kWidth = 647;
constexpr int kHeight = 93;
constexpr int kPixels = kWidth * kHeight;

using Bytes = std::vector<uint8_t>;

struct Golden {
  const char* name;
  uint64_t hash;
  std::function<void(const uint8_t* source, Bytes* result)> run;
};

void Compose(int width, int height, int mask_width, int mask_height, float strength, Bytes* result) {
  const TestImage frame(width, height, QMX_FORMAT_NV21, 21);
  const TestImage mask(mask_width, mask_height, QMX_FORMAT_GRAY8, 22);
  TestImage output(width, height, QMX_FORMAT_NV21, 23);
  ComposeBackgroundBlur(frame.image(), output.image(), mask.image(), strength);
  *result = output.plane(0);
  result->insert(result->end(), output.plane(1).begin(), output.plane(1).end());
}

const std::vector<Golden>& Table() {
  static const std::vector<Golden> table = {
      {"box radius 1", 0xe04cf438caf826d5u,
       [](const uint8_t* s, Bytes* r) { BoxFilter(s, kWidth, kHeight, kWidth, r->data(), kWidth, 1); }},
      {"box radius 2", 0xa29037fcb99a63a2u,
       [](const uint8_t* s, Bytes* r) { BoxFilter(s, kWidth, kHeight, kWidth, r->data(), kWidth, 2); }},
      {"box radius 3", 0x5ecde05437cd58f9u,
       [](const uint8_t* s, Bytes* r) { BoxFilter(s, kWidth, kHeight, kWidth, r->data(), kWidth, 3); }},
      {"box radius 4", 0x49261c41168fc239u,
       [](const uint8_t* s, Bytes* r) { BoxFilter(s, kWidth, kHeight, kWidth, r->data(), kWidth, 4); }},
      {"box radius 9", 0x59868d437652b052u,
       [](const uint8_t* s, Bytes* r) { BoxFilter(s, kWidth, kHeight, kWidth, r->data(), kWidth, 9); }},
      {"split", 0x8ae41275a6eeb728u,
       [](const uint8_t* s, Bytes* r) {
         SplitChromaPairs(r->data(), r->data() + kPixels, s, kWidth / 2, kHeight, kWidth);
       }},
      {"down 2x", 0x778d8f19ff12d712u,
       [](const uint8_t* s, Bytes* r) { Downsample2x(r->data(), s, kWidth, kHeight, kWidth, kWidth / 2); }},
      {"down 4x", 0x119ccbf70b0abdeau,
       [](const uint8_t* s, Bytes* r) { Downsample4x(r->data(), s, kWidth, kHeight, kWidth, kWidth / 4); }},
      {"up 2x", 0x1e6577040079bf76u,
       [](const uint8_t* s, Bytes* r) { Upsample2x(r->data(), s, kWidth, kHeight, kWidth, 2 * kWidth, 1); }},
      {"blend", 0x4255b81d325c8685u,
       [](const uint8_t* s, Bytes* r) { Kernels().blend(r->data(), s, s + kPixels, s + 2 * kPixels, kPixels); }},
      {"blend towards grey", 0x0d28582d80cd6f5du,
       [](const uint8_t* s, Bytes* r) {
         std::copy(s, s + kPixels, r->begin());
         BlendChromaTowardsGrey(r->data(), s + kPixels, kPixels);
       }},
      {"soft scores", 0xe75b51d0a9bf10eeu,
       [](const uint8_t* s, Bytes* r) { DecodeSoftScores(s, kPixels, r->data(), -4, 43); }},
      {"hard scores", 0xde87cf563aa2d76fu,
       [](const uint8_t* s, Bytes* r) { CompareScores(s, s + kPixels, kPixels, r->data()); }},
      {"compose 640x360", 0x700eeee3d01b238bu, [](const uint8_t*, Bytes* r) { Compose(640, 360, 128, 128, 1.5f, r); }},
      {"compose 1920x1080", 0xf2780514292ad506u,
       [](const uint8_t*, Bytes* r) { Compose(1920, 1080, 1920, 1080, 1.5f, r); }},
      {"compose 640x360 wide", 0x309090a9c6593471u,
       [](const uint8_t*, Bytes* r) { Compose(640, 360, 640, 360, 4.0f, r); }},
      {"compose 642x362", 0x71dc2cad0a28c0b8u, [](const uint8_t*, Bytes* r) { Compose(642, 362, 128, 128, 1.5f, r); }},
      {"compose 1284x720", 0x5164d4dba17b558fu,
       [](const uint8_t*, Bytes* r) { Compose(1284, 720, 1284, 720, 1.5f, r); }},
      {"compose 642x362 wide", 0x70ce4cc2adbed1afu,
       [](const uint8_t*, Bytes* r) { Compose(642, 362, 400, 100, 4.0f, r); }},
  };
  return table;
}

TEST(GoldenBlur, EqualOnEveryTier) {
  Bytes source(3 * kPixels);
  testing::FillPattern(source.data(), source.size(), testing::Pattern::kRandom, 20);
  for (const KernelTier tier : {KernelTier::kScalar, KernelTier::kSse2, KernelTier::kAvx2, KernelTier::kNeon}) {
    if (!ForceKernelTier(tier)) {
      continue;
    }
    for (const Golden& golden : Table()) {
      Bytes result(4 * kPixels, 0);
      golden.run(source.data(), &result);
      EXPECT_EQ(testing::Hash(result.data(), result.size()), golden.hash)
          << golden.name << ", " << KernelTierName(tier);
    }
  }
  ForceKernelTier(BestKernelTier());
}

}  // namespace
}  // namespace pexo
