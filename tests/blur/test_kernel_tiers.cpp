// Every tier of every kernel against the scalar form: all widths to 130, heights to 17, any alignment, steps with and
// without gaps, planes that touch unreadable pages, destinations compared with the bytes around them.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "blur/plane_filters.h"
#include "kernels/kernel_table.h"
#include "kernels/mask_kernels.h"
#include "tests/blur/test_data.h"

namespace pexo {
namespace {

constexpr int kMaxWidth = 130;
constexpr int kMaxHeight = 17;

struct Plane {
  uint8_t* data;
  int step;
  uint8_t* Row(int y) const { return data + static_cast<ptrdiff_t>(y) * step; }
};

struct Case {
  int width;
  int height;
  int variant;  // picks a radius, a range or a flag
  Plane source[3];
  Plane destination;
};

// Sizes are (cols, rows) multiples and divisors of the case's width and height.
struct Job {
  const char* name;
  int sources;
  std::function<std::pair<int, int>(int, int)> source_size;
  std::function<std::pair<int, int>(int, int)> destination_size;
  std::function<void(const Case&)> run;
};

std::pair<int, int> Same(int w, int h) {
  return {w, h};
}
std::pair<int, int> Pairs(int w, int h) {
  return {2 * w, h};
}

void RunRows(const Case& c, const std::function<void(int)>& row) {
  for (int y = 0; y < c.height; ++y) {
    row(y);
  }
}

const std::vector<Job>& Jobs() {
  static const std::vector<Job> jobs = {
      {"BoxFilter", 1, Same, Same,
       [](const Case& c) {
         BoxFilter(c.source[0].data, c.width, c.height, c.source[0].step, c.destination.data, c.destination.step,
                   c.variant % 6);
       }},
      {"BoxFilterRows", 1, Same, Same,
       [](const Case& c) {
         const int first = c.variant % c.height;
         BoxFilterRows(c.source[0].data, c.width, c.height, c.source[0].step, c.destination.data, c.destination.step,
                       1 + c.variant % kMaxNarrowBoxRadius, first, first + (c.height - first + 1) / 2);
       }},
      {"split_pairs", 1, Pairs,
       [](int w, int h) {
         return std::pair{w, 2 * h};
       },
       [](const Case& c) {
         RunRows(c, [&](int y) {
           Kernels().split_pairs(c.destination.Row(2 * y), c.destination.Row(2 * y + 1), c.source[0].Row(y), c.width);
         });
       }},
      {"merge_pairs", 2, Same, Pairs,
       [](const Case& c) {
         RunRows(c, [&](int y) {
           Kernels().merge_pairs(c.destination.Row(y), c.source[0].Row(y), c.source[1].Row(y), c.width);
         });
       }},
      {"Downsample2x", 1,
       [](int w, int h) {
         return std::pair{2 * w + 1, h};
       },
       [](int w, int h) {
         return std::pair{w, h / 2};
       },
       [](const Case& c) {
         Downsample2x(c.destination.data, c.source[0].data, 2 * c.width + 1, c.height, c.source[0].step,
                      c.destination.step);
       }},
      {"Downsample4x", 1,
       [](int w, int h) {
         return std::pair{4 * w + w % 4, h};
       },
       [](int w, int h) {
         return std::pair{w, h / 4};
       },
       [](const Case& c) {
         Downsample4x(c.destination.data, c.source[0].data, 4 * c.width + c.width % 4, c.height, c.source[0].step,
                      c.destination.step);
       }},
      {"Upsample2x", 1,
       [](int w, int h) {
         return std::pair{w, h + 1};
       },
       [](int w, int h) {
         return std::pair{2 * w, 2 * h};
       },
       [](const Case& c) {
         // With the flag the plane ends a row earlier, so it starts a row later to touch its end.
         const int flag = c.variant % 2;
         Upsample2x(c.destination.data, c.source[0].Row(flag), c.width, c.height, c.source[0].step, c.destination.step,
                    flag);
       }},
      {"blend", 3, Same, Same,
       [](const Case& c) {
         RunRows(c, [&](int y) {
           Kernels().blend(c.destination.Row(y), c.source[0].Row(y), c.source[1].Row(y), c.source[2].Row(y), c.width);
         });
       }},
      {"blend in place", 2, Same, Same,
       [](const Case& c) {
         RunRows(c, [&](int y) {
           uint8_t* row = c.destination.Row(y);
           Kernels().blend(row, c.variant % 2 ? row : c.source[0].Row(y), c.variant % 2 ? c.source[0].Row(y) : row,
                           c.source[1].Row(y), c.width);
         });
       }},
      {"BlendChromaTowardsGrey", 1, Same, Same,
       [](const Case& c) {
         RunRows(c, [&](int y) { BlendChromaTowardsGrey(c.destination.Row(y), c.source[0].Row(y), c.width); });
       }},
      {"DecodeSoftScores", 1, Pairs, Same,
       [](const Case& c) {
         static constexpr int kRanges[][2] = {{-4, 43},  {-4, 43},  {-1, 1},   {-255, 255},
                                              {-7, 300}, {-900, 2}, {-12, 120}};
         const auto& range = kRanges[c.variant % 7];
         RunRows(c, [&](int y) {
           DecodeSoftScores(c.source[0].Row(y), c.width, c.destination.Row(y), range[0], range[1]);
         });
       }},
      {"CompareScores", 2, Same, Same,
       [](const Case& c) {
         RunRows(c,
                 [&](int y) { CompareScores(c.source[0].Row(y), c.source[1].Row(y), c.width, c.destination.Row(y)); });
       }},
      {"ApplyTable", 1,
       [](int, int) {
         return std::pair{256, 1};
       },
       [](int w, int h) {
         return std::pair{4 * w, h};
       },
       [](const Case& c) {
         RunRows(c, [&](int y) { ApplyTable(c.destination.Row(y), 4 * c.width, c.source[0].data); });
       }},
      {"CountForeground", 1, Same,
       [](int, int h) {
         return std::pair{4, h};
       },
       [](const Case& c) {
         RunRows(c, [&](int y) {
           const int count = CountForeground(c.source[0].Row(y), c.width);
           std::memcpy(c.destination.Row(y), &count, sizeof count);
         });
       }},
  };
  return jobs;
}

size_t Extent(std::pair<int, int> size, int step) {
  return size.second == 0
             ? 0
             : static_cast<size_t>(size.second - 1) * static_cast<size_t>(step) + static_cast<size_t>(size.first);
}

class TierCheck {
 public:
  explicit TierCheck(KernelTier tier) : tier_(tier) {}

  // One case; on a difference it prints what reruns it and returns false.
  bool Run(const Job& job, int width, int height, int variant, uint64_t seed) {
    testing::Random random(seed);
    Case c{width, height, variant, {}, {}};
    const bool upper_edge = random.Below(4) != 0;
    for (int i = 0; i < job.sources; ++i) {
      const std::pair<int, int> size = job.source_size(width, height);
      c.source[i].step = size.first + (random.Below(2) ? random.Below(20) : 0);
      c.source[i].data = sources_[i].AtEdge(Extent(size, c.source[i].step), upper_edge);
    }
    const std::pair<int, int> size = job.destination_size(width, height);
    c.destination.step = size.first + (random.Below(2) ? random.Below(20) : 0);
    const size_t extent = Extent(size, c.destination.step);
    const size_t margin = static_cast<size_t>(random.Below(3) == 0 ? 0 : random.Below(70));
    // In-place jobs find the same random bytes in front of both runs; gaps and margins must come through unchanged.
    const uint8_t* before = contents_.begin() + random.Below(4096);
    for (const KernelTier tier : {KernelTier::kScalar, tier_}) {
      const testing::GuardedBytes& area = tier == KernelTier::kScalar ? expected_ : actual_;
      uint8_t* start = area.AtEdge(extent + 2 * margin, upper_edge);
      std::memcpy(start, before, extent + 2 * margin);
      c.destination.data = start + margin;
      ForceKernelTier(tier);
      job.run(c);
    }
    const size_t whole = extent + 2 * margin;
    if (std::memcmp(expected_.AtEdge(whole, upper_edge), actual_.AtEdge(whole, upper_edge), whole) == 0) {
      return true;
    }
    ADD_FAILURE() << "rerun: TierCheck(" << KernelTierName(tier_) << ").Run(" << job.name << ", " << width << ", "
                  << height << ", " << variant << ", " << seed << "u) after Refill(" << refills_ << ")";
    return false;
  }

  void Refill(int round) {
    refills_ = round;
    for (int i = 0; i < 3; ++i) {
      // The pools of one round differ in kind, so that a blend meets white on black as well as noise on noise.
      const int pattern = round < testing::kPatterns ? round : (round + i * (round / 3)) % testing::kPatterns;
      testing::FillPattern(sources_[i].begin(), sources_[i].size(), static_cast<testing::Pattern>(pattern),
                           static_cast<uint64_t>(round * 3 + i));
    }
    testing::FillPattern(contents_.begin(), contents_.size(), testing::Pattern::kRandom, static_cast<uint64_t>(round));
  }

 private:
  KernelTier tier_;
  int refills_ = 0;
  testing::GuardedBytes sources_[3]{testing::GuardedBytes(1), testing::GuardedBytes(1), testing::GuardedBytes(1)};
  testing::GuardedBytes expected_{1};
  testing::GuardedBytes actual_{1};
  testing::GuardedBytes contents_{1};
};

class KernelTiers : public ::testing::Test {
 protected:
  void TearDown() override { ForceKernelTier(BestKernelTier()); }
};

TEST_F(KernelTiers, AllFormsGiveTheScalarBytes) {
  long cases = 0;
  for (const KernelTier tier : {KernelTier::kSse2, KernelTier::kAvx2, KernelTier::kNeon}) {
    if (!KernelTierAvailable(tier)) {
      continue;
    }
    TierCheck check(tier);
    uint64_t seed = 0;
    for (int round = 0; round < PEXO_TEST_ROUNDS; ++round) {
      check.Refill(round);
      for (const Job& job : Jobs()) {
        for (int width = 1; width <= kMaxWidth; ++width) {
          for (int height = 1; height <= kMaxHeight; ++height) {
            ASSERT_TRUE(check.Run(job, width, height, round + width + height, ++seed));
            ++cases;
          }
        }
      }
    }
  }
  RecordProperty("cases", std::to_string(cases));
}

// Rows as long as a camera's, so that every loop reaches its steady state and every tail follows one.
TEST_F(KernelTiers, LongRowsToo) {
  for (const KernelTier tier : {KernelTier::kSse2, KernelTier::kAvx2, KernelTier::kNeon}) {
    if (!KernelTierAvailable(tier)) {
      continue;
    }
    TierCheck check(tier);
    for (int round = 0; round < testing::kPatterns; ++round) {
      check.Refill(round);
      for (const Job& job : Jobs()) {
        for (const int width : {641, 960, 1284, 1919, 1920}) {
          ASSERT_TRUE(check.Run(job, width, 5, round, static_cast<uint64_t>(width)));
        }
      }
    }
  }
}

// The 16-bit reciprocals, for every sum that a window can have.
TEST_F(KernelTiers, BoxMeansAreExactForEverySum) {
  constexpr int kWidth = 64;
  for (int radius = 1; radius <= kMaxNarrowBoxRadius; ++radius) {
    const int window = 2 * radius + 1;
    for (int sum = 0; sum <= 255 * window * window; ++sum) {
      // One column in each window carries the whole sum.
      uint16_t sums[kWidth + 2 * kMaxNarrowBoxRadius] = {};
      for (int i = 0; i < kWidth + 2 * radius; i += window) {
        sums[i] = static_cast<uint16_t>(sum);
      }
      const uint32_t mean =
          ((1u << 21) + static_cast<uint32_t>(sum) * ((1u << 22) / static_cast<uint32_t>(window * window))) >> 22;
      uint8_t expected[kWidth], actual[kWidth];
      std::memset(expected, static_cast<int>(mean), kWidth);
      Kernels().mean_of_sums(actual, sums, kWidth, radius);
      ASSERT_EQ(std::memcmp(expected, actual, kWidth), 0) << "radius " << radius << " sum " << sum;
    }
  }
}

TEST_F(KernelTiers, TheBestOneIsChosenAtLoad) {
  EXPECT_FALSE(ForceKernelTier(static_cast<KernelTier>(99)));
#if defined(__x86_64__)
  EXPECT_GE(BestKernelTier(), KernelTier::kSse2);
  EXPECT_FALSE(ForceKernelTier(KernelTier::kNeon));
#elif defined(__aarch64__)
  EXPECT_EQ(BestKernelTier(), KernelTier::kNeon);
#endif
  const auto best = Kernels().blend;
  ASSERT_TRUE(ForceKernelTier(KernelTier::kScalar));
  const auto scalar = Kernels().blend;
  ASSERT_TRUE(ForceKernelTier(BestKernelTier()));
  EXPECT_EQ(Kernels().blend, best);
  EXPECT_NE(best, scalar);
}

}  // namespace
}  // namespace pexo
