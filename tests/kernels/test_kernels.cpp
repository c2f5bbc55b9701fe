// SPDX-License-Identifier: Apache-2.0
// Every kernel and filter on every tier: the scalar form against its formula, the others against the scalar form.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "blur/plane_filters.h"
#include "kernels/kernel_table.h"
#include "tests/blur/naive_blur.h"
#include "tests/support/test_image.h"

namespace pexo {
namespace {

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
  bool has_gaps = true;  // between its rows, in some cases
};

struct Job {
  const char* name;
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

// Blurred, sharp, mask: one of them is the destination.
std::array<View, 3> BlendSources(const Case& c) {
  std::array<View, 3> sources{c.in, c.other_in, c.out};
  std::rotate(sources.begin(), sources.begin() + c.variant % 3, sources.end());
  return sources;
}

const Shape kSame, kDouble{2};

const std::vector<Job>& Jobs() {
  static const std::vector<Job> jobs = {
      {"box", kSame, kSame,
       [](const Case& c) {
         const int radius = c.variant / 2 % 6;
         const auto [first, end] = BoxRows(c);
         if (c.variant % 2) {
           EXPECT_EQ(BoxFilter(c.in.data, c.width, c.height, c.in.step, c.out.data, c.out.step, radius), 0);
         } else {
           BoxFilterRows(c.in.data, c.width, c.height, c.in.step, c.out.data, c.out.step, radius, first, end);
         }
       },
       [](const Case& c, int x, int y) {
         const auto [first, end] = BoxRows(c);
         return y >= first && y < end ? test::BoxMean(c.in, c.variant / 2 % 6, x, y) : c.out(x, y);
       }},
      // The two halves are packed, one below the other.
      {"split pairs", kDouble, Shape{.rows = 2, .has_gaps = false},
       [](const Case& c) {
         SplitChromaPairs(c.out.data, c.out.Row(c.height), c.in.data, c.width, c.height, c.in.step);
       },
       [](const Case& c, int x, int y) { return y < c.height ? c.in(2 * x + 1, y) : c.in(2 * x, y - c.height); }},
      {"merge pairs", kSame, kDouble,
       EachRow([](const Case& c) { Kernels().merge_pairs(c.out.data, c.in.data, c.other_in.data, c.width); }),
       [](const Case& c, int x, int y) { return (x % 2 ? c.in : c.other_in)(x / 2, y); }},
      {"down 2x", Shape{2, 1}, Shape{1, 0, 1, 2},
       [](const Case& c) { Downsample2x(c.out.data, c.in.data, c.in.width, c.height, c.in.step, c.out.step); },
       [](const Case& c, int x, int y) { return test::MeanOf2x2(c.in, x, y); }},
      {"down 4x", Shape{4, 3}, Shape{1, 0, 1, 4},
       [](const Case& c) { Downsample4x(c.out.data, c.in.data, c.in.width, c.height, c.in.step, c.out.step); },
       [](const Case& c, int x, int y) { return test::MeanOf4x4(c.in, x, y); }},
      // Planes of odd heights go on below: the row after the last one is read too.
      {"up 2x", Shape{1, 0, 1, 1, 1}, Shape{2, 0, 2},
       [](const Case& c) {
         Upsample2x(c.out.data, c.in.data, c.width, c.height, c.in.step, c.out.step, c.height % 2 == 0);
       },
       [](const Case& c, int x, int y) {
         return test::Doubled(View{c.in.data, c.in.step, c.in.width, c.height + c.height % 2}, x, y);
       }},
      {"blend in place", kSame, kSame, EachRow([](const Case& c) {
         const auto [blurred, sharp, mask] = BlendSources(c);
         Kernels().blend(c.out.data, blurred.data, sharp.data, mask.data, c.width);
       }),
       [](const Case& c, int x, int y) {
         const auto [blurred, sharp, mask] = BlendSources(c);
         return (blurred(x, y) * (255 - mask(x, y)) + sharp(x, y) * mask(x, y)) / 256;
       }},
      {"blend towards grey", kSame, kSame,
       EachRow([](const Case& c) { Kernels().blend_towards_grey(c.out.data, c.in.data, c.width); }),
       [](const Case& c, int x, int y) { return (32640 + (c.out(x, y) - 128) * c.in(x, y)) / 256 + 1; }},
      {"soft scores", kDouble, kSame, EachRow([](const Case& c) {
         Kernels().decode_soft_scores(c.in.data, c.width, c.out.data, ScoreRange(c).first, ScoreRange(c).second);
       }),
       [](const Case& c, int x, int y) {
         const auto [lo, hi] = ScoreRange(c);
         const int d = std::clamp(c.in(2 * x + 1, y) - c.in(2 * x, y), lo, hi);
         return d > 0 ? 255 - (hi - d) * 128 / hi : (lo - d) * 128 / lo;
       }},
      {"hard scores in place", kSame, kSame,
       EachRow([](const Case& c) { Kernels().compare_scores(c.in.data, c.out.data, c.width, c.out.data); }),
       [](const Case& c, int x, int y) { return c.in(x, y) > c.out(x, y) ? 255 : 0; }},
      {"table", Shape{0, 256}, Shape{5},
       EachRow([](const Case& c) { Kernels().apply_table(c.out.data, 5 * c.width, c.in.data); }),
       [](const Case& c, int x, int y) { return c.in(c.out(x, y), y); }},
      // Rows long enough to overflow a counter of 8 bits. The count's bytes are the output.
      {"foreground count", Shape{7}, Shape{0, 4}, EachRow([](const Case& c) {
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
      for (size_t at = 0; at < areas_[i].size(); ++at) {
        const int noise = static_cast<int>(random() >> 8 & 255), stripe = static_cast<int>(at % 2) * 255;
        const int kinds[] = {noise, noise % 2 * 255, stripe, 255, 252 + noise % 4};
        areas_[i][at] = static_cast<uint8_t>(kinds[i == 2 ? 0 : (round + i * (round / 5)) % 5]);
      }
    }
  }

  // Runs the job's kernel on `tier`, or without a tier its formula. Returns the output plane with what surrounds it.
  Bytes Run(const Job& job, int width, int height, unsigned seed, const KernelTier* tier) {
    std::minstd_rand random(seed * 2654435761u);
    const auto below = [&](int bound) { return static_cast<int>(random() >> 4) % bound; };
    const bool upper_edge = below(4) != 0;
    const int margin = below(2) * below(70);
    Case c{width, height, below(1 << 20), {}, {}, {}};
    std::span<uint8_t> place;
    const auto plane = [&](const Shape& shape, int area, int around) {
      View view{nullptr, 0, width * shape.columns + shape.more_columns,
                height * shape.rows / shape.rows_divisor + shape.more_rows};
      view.step = view.width + below(2) * below(20) * shape.has_gaps;
      const int extent = std::max(0, view.step * (view.height - 1) + view.width);
      const auto bytes = static_cast<size_t>(extent + 2 * around);
      place = upper_edge ? std::span(areas_[area]).last(bytes) : std::span(areas_[area]).first(bytes);
      view.data = place.data() + around;
      return view;
    };
    c.in = plane(job.in, 0, 0);
    c.other_in = plane(job.in, 1, 0);
    c.out = plane(job.out, 3, margin);
    std::copy_n(areas_[2].data() + below(4096), place.size(), place.data());
    if (tier != nullptr) ForceKernelTier(*tier);
    if (tier != nullptr) job.run(c);
    for (int i = 0; tier == nullptr && i < c.out.width * c.out.height; ++i) {
      const int x = i % c.out.width, y = i / c.out.width;
      c.out.Row(y)[x] = static_cast<uint8_t>(job.formula(c, x, y));
    }
    return {place.begin(), place.end()};
  }

 private:
  std::vector<test::Pixels> areas_{4, test::Pixels(1 << 17)};  // of two inputs, what outputs held, outputs
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
    Arena arena(round);
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
        ASSERT_EQ(means[sum * side], (2097152 + sum * (4194304 / (side * side))) >> 22)
            << tier.name << ", radius " << radius << ": " << sum;
      }
    }
  }
}

}  // namespace
}  // namespace pexo
