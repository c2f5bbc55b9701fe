// Every kernel on every tier: the scalar form against its formula, the others against the scalar form, and all against
// one table of hashes.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "blur/background_blur.h"
#include "blur/plane_filters.h"
#include "kernels/kernel_table.h"
#include "tests/blur/naive_blur.h"
#include "tests/support/guarded_image.h"

namespace pexo {
namespace {

using test::GuardedImage;
using test::View;
using Bytes = std::vector<uint8_t>;
using Range = std::pair<int, int>;

struct Case {
  int width, height;
  int variant;  // picks radii and ranges
  View in, other_in, out;
};

// A plane's size for a case's.
struct Shape {
  int columns = 1, more_columns = 0, rows = 1, rows_divisor = 1, more_rows = 0;
};

struct Job {
  const char* name;
  uint64_t hash;  // of its output, on every tier and processor
  Shape in, out;
  std::function<void(Case)> run;
  std::function<int(const Case&, int x, int y)> formula;  // an output pixel; it may read what `out` held
};

// For kernels of one row.
std::function<void(Case)> EachRow(void (*run)(const Case&)) {
  return [run](Case c) {
    for (int y = 0; y < c.height; ++y) {
      run(c);
      for (View* view : {&c.in, &c.other_in, &c.out}) view->data += view->step;
    }
  };
}

Range BoxRows(const Case& c) {
  return c.variant % 2 ? Range{0, c.height} : Range{c.variant / 7 % c.height, c.variant / 5 % (c.height + 1)};
}
Range ScoreRange(const Case& c) {
  return c.variant % 2 ? Range{-4, 43} : Range{-1 - c.variant / 2 % 300, 1 + c.variant / 600 % 300};
}

const Shape kSame, kDouble{2};

const std::vector<Job>& Jobs() {
  static const std::vector<Job> jobs = {
      {"box", 0xc3102ec659493c98u, kSame, kSame,
       [](const Case& c) {
         const auto [first, end] = BoxRows(c);
         BoxFilterRows(c.in.data, c.width, c.height, c.in.step, c.out.data, c.out.step, c.variant % 6, first, end);
       },
       [](const Case& c, int x, int y) {
         const auto [first, end] = BoxRows(c);
         return y >= first && y < end ? test::BoxMean(c.in, c.variant % 6, x, y) : c.out(x, y);
       }},
      {"split pairs", 0x23078418857492eau, kDouble, kDouble,
       EachRow([](const Case& c) { Kernels().split_pairs(c.out.data, c.out.data + c.width, c.in.data, c.width); }),
       [](const Case& c, int x, int y) { return c.in(x < c.width ? 2 * x + 1 : 2 * (x - c.width), y); }},
      {"merge pairs", 0x607ed723c13a969eu, kSame, kDouble,
       EachRow([](const Case& c) { Kernels().merge_pairs(c.out.data, c.in.data, c.other_in.data, c.width); }),
       [](const Case& c, int x, int y) { return (x % 2 ? c.in : c.other_in)(x / 2, y); }},
      {"down 2x", 0x1f50444ef9ef55fbu, Shape{2, 1}, Shape{1, 0, 1, 2},
       [](const Case& c) { Downsample2x(c.out.data, c.in.data, c.in.width, c.height, c.in.step, c.out.step); },
       [](const Case& c, int x, int y) { return test::MeanOf2x2(c.in, x, y); }},
      {"down 4x", 0x6c3e268e8c255c18u, Shape{4, 3}, Shape{1, 0, 1, 4},
       [](const Case& c) { Downsample4x(c.out.data, c.in.data, c.in.width, c.height, c.in.step, c.out.step); },
       [](const Case& c, int x, int y) { return test::MeanOf4x4(c.in, x, y); }},
      // Planes of odd heights go on below: the row after the last one is read too.
      {"up 2x", 0x3eee3548c0e21458u, Shape{1, 0, 1, 1, 1}, Shape{2, 0, 2},
       [](const Case& c) {
         Upsample2x(c.out.data, c.in.data, c.width, c.height, c.in.step, c.out.step, c.height % 2 == 0);
       },
       [](const Case& c, int x, int y) {
         return test::Doubled(View{c.in.data, c.in.step, c.in.width, c.height + c.height % 2}, x, y);
       }},
      {"blend in place", 0xead074482dc2c6e8u, kSame, kSame,
       EachRow([](const Case& c) { Kernels().blend(c.out.data, c.in.data, c.out.data, c.other_in.data, c.width); }),
       [](const Case& c, int x, int y) {
         return (c.in(x, y) * (255 - c.other_in(x, y)) + c.out(x, y) * c.other_in(x, y)) / 256;
       }},
      {"blend towards grey", 0x1972983dda970551u, kSame, kSame,
       EachRow([](const Case& c) { Kernels().blend_towards_grey(c.out.data, c.in.data, c.width); }),
       [](const Case& c, int x, int y) { return (32640 + (c.out(x, y) - 128) * c.in(x, y)) / 256 + 1; }},
      {"soft scores", 0xfb30f00d119b5c19u, kDouble, kSame, EachRow([](const Case& c) {
         Kernels().decode_soft_scores(c.in.data, c.width, c.out.data, ScoreRange(c).first, ScoreRange(c).second);
       }),
       [](const Case& c, int x, int y) {
         const auto [lo, hi] = ScoreRange(c);
         const int d = std::clamp(c.in(2 * x + 1, y) - c.in(2 * x, y), lo, hi);
         return d > 0 ? 255 - (hi - d) * 128 / hi : (lo - d) * 128 / lo;
       }},
      {"hard scores in place", 0x4b8bf10771a5b036u, kSame, kSame,
       EachRow([](const Case& c) { Kernels().compare_scores(c.in.data, c.out.data, c.width, c.out.data); }),
       [](const Case& c, int x, int y) { return c.in(x, y) > c.out(x, y) ? 255 : 0; }},
      {"table", 0x421cdbfe8fd49c83u, Shape{0, 256}, Shape{5},
       EachRow([](const Case& c) { Kernels().apply_table(c.out.data, 5 * c.width, c.in.data); }),
       [](const Case& c, int x, int y) { return c.in(c.out(x, y), y); }},
      // Rows long enough to overflow a counter of 8 bits. The count's bytes are the output.
      {"foreground count", 0x565677ef892ac849u, Shape{7}, Shape{0, 4}, EachRow([](const Case& c) {
         const int count = Kernels().count_foreground(c.in.data, 7 * c.width);
         std::memcpy(c.out.data, &count, sizeof count);
       }),
       [](const Case& c, int x, int y) {
         return std::count_if(c.in.Row(y), c.in.Row(y) + c.in.width, [](int m) { return m >= 128; }) >> 8 * x;
       }},
  };
  return jobs;
}

// Where jobs run: memory full of one kind of data between unreadable pages.
class Arena {
 public:
  // Noise, black and white, stripes, white, and what is close to white; the planes of later rounds differ in kind.
  explicit Arena(int round) {
    std::minstd_rand random(static_cast<unsigned>(round + 1));
    for (int i = 0; i < 3; ++i) {
      for (size_t at = 0; at < areas_[i].all().size(); ++at) {
        const int noise = static_cast<int>(random() >> 8 & 255), stripe = static_cast<int>(at % 2) * 255;
        const int kinds[] = {noise, noise % 2 * 255, stripe, 255, 252 + noise % 4};
        areas_[i].all()[at] = static_cast<uint8_t>(kinds[i == 2 ? 0 : (round + i * (round / 5)) % 5]);
      }
    }
  }

  // Runs the job's kernel on `tier`, or without a tier its formula. Returns the output plane with what surrounds it.
  Bytes Run(const Job& job, int width, int height, unsigned seed, const KernelTier* tier) const {
    std::minstd_rand random(seed * 2654435761u);
    const auto below = [&](int bound) { return static_cast<int>(random() >> 4) % bound; };
    const bool upper_edge = below(4) != 0;
    const int margin = below(2) * below(70);
    Case c{width, height, below(1 << 20), {}, {}, {}};
    std::span<uint8_t> place;
    const auto plane = [&](const Shape& shape, int area, int around) {
      View view{nullptr, 0, width * shape.columns + shape.more_columns,
                height * shape.rows / shape.rows_divisor + shape.more_rows};
      view.step = view.width + below(2) * below(20);
      const int extent = std::max(0, view.step * (view.height - 1) + view.width);
      place = areas_[area].AtEdge(static_cast<size_t>(extent + 2 * around), upper_edge);
      view.data = place.data() + around;
      return view;
    };
    c.in = plane(job.in, 0, 0);
    c.other_in = plane(job.in, 1, 0);
    c.out = plane(job.out, 3, margin);
    std::copy_n(areas_[2].all().data() + below(4096), place.size(), place.data());
    if (tier != nullptr) ForceKernelTier(*tier);
    if (tier != nullptr) job.run(c);
    for (int i = 0; tier == nullptr && i < c.out.width * c.out.height; ++i) {
      const int x = i % c.out.width, y = i / c.out.width;
      c.out.Row(y)[x] = static_cast<uint8_t>(job.formula(c, x, y));
    }
    return {place.begin(), place.end()};
  }

 private:
  test::GuardedBytes areas_[4]{1 << 17, 1 << 17, 1 << 17, 1 << 17};  // of two inputs, what outputs held, outputs
};

TEST(Kernels, TheBestTierIsChosenAtLoad) {
  const auto loaded = Kernels().blend;
  EXPECT_GT(KernelTiers().size(), 1u);
  ForceKernelTier(KernelTiers().back());
  EXPECT_EQ(Kernels().blend, loaded);
}

// All widths to 130 and heights to 17, and rows as long as a camera's; any alignment, steps with and without gaps.
TEST(Kernels, EveryFormGivesTheSameBytes) {
  int cases = 0;
  for (int round = 0; round < PEXO_TEST_ROUNDS; ++round) {
    const Arena arena(round);
    const auto check = [&](const Job& job, int width, int height) {
      const auto seed = static_cast<unsigned>(++cases);
      const Bytes scalar = arena.Run(job, width, height, seed, &KernelTiers().front());
      for (const KernelTier& tier : KernelTiers()) {
        const bool is_scalar = &tier == &KernelTiers().front();
        if (is_scalar && round % 5 > 1) continue;
        ASSERT_EQ(arena.Run(job, width, height, seed, is_scalar ? nullptr : &tier), scalar)
            << (is_scalar ? "formula" : tier.name) << ", rerun: Arena(" << round << ").Run(" << job.name << ", "
            << width << ", " << height << ", " << seed << "u)";
      }
    };
    for (const Job& job : Jobs()) {
      for (int i = 0; i < 130 * 17; ++i) ASSERT_NO_FATAL_FAILURE(check(job, 1 + i / 17, 1 + i % 17));
      for (const int width : {641, 960, 1284, 1919, 1920}) ASSERT_NO_FATAL_FAILURE(check(job, width, 5));
    }
  }
}

// The 16-bit reciprocals: each window of the sums holds one of all the sums that there are.
TEST(Kernels, BoxMeansAreExactForEverySum) {
  for (const KernelTier& tier : KernelTiers()) {
    ForceKernelTier(tier);
    for (uint32_t radius = 1; radius <= uint32_t{kMaxNarrowBoxRadius}; ++radius) {
      const uint32_t side = 2 * radius + 1, width = (255 * side * side + 1) * side;
      std::vector<uint16_t> sums(width + 2 * radius);
      for (uint32_t sum = 0; sum < width / side; ++sum) sums[sum * side] = static_cast<uint16_t>(sum);
      Bytes means(width);
      Kernels().mean_of_sums(means.data(), sums.data(), static_cast<int>(width), static_cast<int>(radius));
      for (uint32_t sum = 0; sum < width / side; ++sum) {
        ASSERT_EQ(means[sum * side], (2097152 + sum * (4194304 / (side * side))) >> 22) << tier.name << sum;
      }
    }
  }
}

TEST(Kernels, WorkedExamples) {
  Bytes result = {7, 7, 7, 7, 7, 7, 7, 7, 7};
  uint8_t* r = result.data();
  const auto expect = [&](const Bytes& expected) { EXPECT_EQ(Bytes(r, r + expected.size()), expected); };
  Downsample4x(r, Bytes(12).data(), 4, 3, 4, 1);
  expect({7});  // too few rows
  Downsample2x(r, Bytes{0, 0, 0, 2}.data(), 2, 2, 2, 1);
  expect({1, 7});
  Downsample4x(r, Bytes{255, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}.data(), 4, 4, 4, 1);
  expect({16, 7});
  Upsample2x(r, Bytes{0, 1}.data(), 2, 1, 2, 4, 1);
  expect({0, 1, 1, 1, 0, 1, 1, 1});
  EXPECT_EQ(BoxFilter(Bytes{0, 0, 0, 0, 9, 0, 0, 0, 0}.data(), 3, 3, 3, r, 3, 1), 0);
  expect(Bytes(9, 1));
  BoxFilter(Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9}.data(), 3, 3, 3, r, 3, 0);
  expect({1, 2, 3, 4, 5, 6, 7, 8, 9});
  SplitChromaPairs(r, r + 4, Bytes{1, 2, 3, 4, 0, 5, 6, 7, 8}.data(), 2, 2, 5);
  expect({2, 4, 6, 8, 1, 3, 5, 7, 9});
}

// FNV-1a, from 0.
void AddTo(uint64_t* hash, std::span<const uint8_t> bytes) {
  for (const uint8_t byte : bytes) *hash = (*hash ^ byte) * 0x100000001b3u;
}

TEST(Kernels, HashesAreEqualOnEveryTierAndProcessor) {
  constexpr uint64_t kAligned = 0x6615d9eccb71a4f6u, kUnaligned = 0xbecbe944f2808830u;
  const Arena arena(0);
  for (const KernelTier& tier : KernelTiers()) {
    ForceKernelTier(tier);
    for (const Job& job : Jobs()) {
      uint64_t hash = 0;
      for (unsigned seed = 1; seed <= 12; ++seed) AddTo(&hash, arena.Run(job, 641, 17, seed, &tier));
      EXPECT_EQ(hash, job.hash) << job.name << ", " << tier.name;
    }
    uint64_t aligned = 0, unaligned = 0;
    for (const auto& [width, height] : {Range{640, 360}, Range{1920, 1080}, Range{642, 362}, Range{1284, 720}}) {
      for (const float strength : {1.5f, 4.0f, 10.0f}) {
        const GuardedImage frame(width, height, QMX_FORMAT_NV21, 21), mask(200, 200, QMX_FORMAT_GRAY8, 22);
        GuardedImage output(width, height, QMX_FORMAT_NV21, 23);
        ComposeBackgroundBlur(frame.image(), output.image(), mask.image(), strength);
        for (const int plane : {0, 1}) AddTo(width % 8 == 0 ? &aligned : &unaligned, output.plane(plane));
      }
    }
    EXPECT_EQ(aligned, kAligned) << tier.name;
    EXPECT_EQ(unaligned, kUnaligned) << tier.name;
  }
}

}  // namespace
}  // namespace pexo
