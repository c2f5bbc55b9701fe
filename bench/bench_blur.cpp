// SPDX-License-Identifier: Apache-2.0
// The blur's kernels and composites, each beside its scalar form, the same job with OpenCV (where it is installed) and
// libyuv, and a memcpy of what it moves. One thread; processor times, medians of one run.
#include <benchmark/benchmark.h>
#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>
#include <qmx/qmx_image.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/table.h"
#include "blur/background_blur.h"
#include "blur/plane_filters.h"
#include "kernels/kernel_table.h"
#include "tests/support/test_image.h"
#ifdef PEXO_BENCH_OPENCV
#include "bench/bench_blur_opencv.h"
#define PEXO_WITH_OPENCV(...) __VA_ARGS__
#else
#define PEXO_WITH_OPENCV(...) nullptr
#endif

namespace {

// What this thread has spent on a processor: on a shared machine the others' turns do not count.
double ThreadSeconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Inside the image library since the last reset.
double library_seconds = 0;

class LibraryTime {
 public:
  ~LibraryTime() { library_seconds += ThreadSeconds() - start_; }

 private:
  double start_ = ThreadSeconds();
};

}  // namespace

extern "C" {

QmxImage __real_qmxImageCreate(int32_t width, int32_t height, int32_t format);
int32_t __real_qmxImageFree(QmxImage* image);
int32_t __real_qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation);

QmxImage __wrap_qmxImageCreate(int32_t width, int32_t height, int32_t format) {
  const LibraryTime time;
  return __real_qmxImageCreate(width, height, format);
}
int32_t __wrap_qmxImageFree(QmxImage* image) {
  const LibraryTime time;
  return __real_qmxImageFree(image);
}
int32_t __wrap_qmxResize(const QmxImage* source, QmxImage* destination, int32_t interpolation) {
  const LibraryTime time;
  return __real_qmxResize(source, destination, interpolation);
}

}  // extern "C"

namespace pexo::bench {
namespace {

using test::TestImage;

struct Size {
  int width;
  int height;
  std::string Name() const { return std::to_string(width) + "x" + std::to_string(height); }
};

struct Data {
  explicit Data(Size s)
      : size(s),
        frame(TestImage::Picture(s.width, s.height, 1)),
        output(s.width, s.height),
        blurred(TestImage::Picture(s.width, s.height, 3, QMX_FORMAT_GRAY8)),
        mask(TestImage::Picture(s.width, s.height, 4, QMX_FORMAT_GRAY8)),
        small_mask(TestImage::Picture(128, 128, 5, QMX_FORMAT_GRAY8)),
        half(TestImage::Picture(s.width / 2 * 2, s.height / 2, 6, QMX_FORMAT_GRAY8)) {}

  int pixels() const { return size.width * size.height; }
  uint8_t* luma() { return frame.plane[0]; }
  uint8_t* chroma() { return frame.plane[1]; }
  uint8_t* out() { return output.plane[0]; }
  uint8_t* out_chroma() { return output.plane[1]; }

  Size size;
  TestImage frame;
  TestImage output;
  TestImage blurred;
  TestImage mask;
  TestImage small_mask;
  TestImage half;  // two planes of a quarter of the pixels side by side
};

using Run = std::function<void(Data&)>;

struct Bar {
  double limit = 0;  // 0: no bar
  Size size{};
};

struct Job {
  const char* name;
  Run ours;
  Run opencv;
  Run libyuv;
  Run memcpy;
  std::vector<Size> sizes;
  Bar opencv_bar{};
  Bar libyuv_bar{};
  bool composite = false;  // also shows our time without the image library's calls, against memcpy
  double memcpy_bar = 0;
};

const std::vector<Size> kAllSizes = {{1920, 1080}, {1280, 720}, {1284, 720}};
constexpr Size kFullHd{1920, 1080}, kHd{1280, 720};
const std::vector<Size> kAlignedSizes = {kFullHd, kHd};
const std::vector<Size> kUnalignedSize = {{1284, 720}};

void Copy(Data& d, int bytes) {
  std::memcpy(d.out(), d.luma(), static_cast<size_t>(bytes));
}

void CopyFrame(Data& d) {
  Copy(d, d.pixels());
  std::memcpy(d.out_chroma(), d.chroma(), static_cast<size_t>(d.pixels() / 2));
}

// As many bytes read and written as a composite must: the frame to the output, and the full-size mask and blurred
// plane, which are read only, as one plane read and one written.
void CopyComposite(Data& d) {
  CopyFrame(d);
  std::memcpy(d.blurred.plane[0], d.mask.plane[0], static_cast<size_t>(d.pixels()));
}

void Shrink(Data& d, int factor) {
  libyuv::ScalePlane(d.luma(), d.size.width, d.size.width, d.size.height, d.out(), d.size.width / factor,
                     d.size.width / factor, d.size.height / factor, libyuv::kFilterBox);
}

#ifdef PEXO_BENCH_OPENCV
Run OpenCvComposite(TestImage Data::*mask) {
  return [=](Data& d) {
    const bool aligned = d.size.width % 8 == 0 && d.size.height % 8 == 0;
    (aligned ? opencv::ComposeAligned : opencv::ComposeUnaligned)(d.frame, d.output, d.*mask);
  };
}
#endif

Job Composite(const char* name, TestImage Data::*mask, const std::vector<Size>& sizes, double opencv_bar,
              double memcpy_bar) {
  Job job;
  job.name = name;
  job.ours = [=](Data& d) { ComposeBackgroundBlur(d.frame, d.output, d.*mask, 1.5f); };
  job.opencv = PEXO_WITH_OPENCV(OpenCvComposite(mask));
  job.memcpy = CopyComposite;
  job.sizes = sizes;
  job.opencv_bar.limit = opencv_bar;
  job.composite = true;
  job.memcpy_bar = memcpy_bar;
  return job;
}

// The image library's own enlarging, from the beginning of a mask.
Job Resize(const char* name, Size from) {
  Job job;
  job.name = name;
  job.ours = [=](Data& d) {
    const QmxImage source{QMX_FORMAT_GRAY8, from.width, from.height, {d.mask.plane[0]}, {from.width}};
    QmxImage scaled{QMX_FORMAT_GRAY8, d.size.width, d.size.height, {d.out()}, {d.size.width}};
    qmxResize(&source, &scaled, QMX_INTERPOLATION_BILINEAR);
  };
  job.opencv = PEXO_WITH_OPENCV(
      [=](Data& d) { opencv::Resize(d.mask.plane[0], from.width, from.height, d.out(), d.size.width, d.size.height); });
  job.libyuv = [=](Data& d) {
    libyuv::ScalePlane(d.mask.plane[0], from.width, from.width, from.height, d.out(), d.size.width, d.size.width,
                       d.size.height, libyuv::kFilterBilinear);
  };
  job.memcpy = [](Data& d) { Copy(d, d.pixels() / 2); };
  job.sizes = {kFullHd};
  job.opencv_bar.limit = job.libyuv_bar.limit = 0.4;
  return job;
}

std::vector<Job> Jobs() {
  return {
      {"box radius 1",
       [](Data& d) { BoxFilter(d.luma(), d.size.width, d.size.height, d.size.width, d.out(), d.size.width, 1); },
       PEXO_WITH_OPENCV([](Data& d) { opencv::Box(d.luma(), d.size.width, d.size.height, d.out(), 1); }),
       nullptr,
       [](Data& d) { Copy(d, d.pixels()); },
       kAllSizes,
       {0.25, kFullHd}},
      {"box radius 2",
       [](Data& d) { BoxFilter(d.luma(), d.size.width, d.size.height, d.size.width, d.out(), d.size.width, 2); },
       PEXO_WITH_OPENCV([](Data& d) { opencv::Box(d.luma(), d.size.width, d.size.height, d.out(), 2); }), nullptr,
       [](Data& d) { Copy(d, d.pixels()); }, kAllSizes},
      {"down 2x",
       [](Data& d) { Downsample2x(d.out(), d.luma(), d.size.width, d.size.height, d.size.width, d.size.width / 2); },
       PEXO_WITH_OPENCV([](Data& d) { opencv::Shrink(d.luma(), d.size.width, d.size.height, d.out(), 2); }),
       [](Data& d) { Shrink(d, 2); },
       [](Data& d) { Copy(d, d.pixels() * 5 / 8); },
       kAllSizes,
       {},
       {1.5, kFullHd}},
      {"down 4x",
       [](Data& d) { Downsample4x(d.out(), d.luma(), d.size.width, d.size.height, d.size.width, d.size.width / 4); },
       PEXO_WITH_OPENCV([](Data& d) { opencv::Shrink(d.luma(), d.size.width, d.size.height, d.out(), 4); }),
       [](Data& d) { Shrink(d, 4); },
       [](Data& d) { Copy(d, d.pixels() * 17 / 32); },
       kAllSizes,
       {0.2, kFullHd},
       {1.5, kFullHd}},
      {"up 2x",
       [](Data& d) {
         Upsample2x(d.out(), d.half.plane[0], d.size.width / 2, d.size.height / 2, d.size.width / 2, d.size.width, 1);
       },
       PEXO_WITH_OPENCV([](Data& d) {
         opencv::Resize(d.half.plane[0], d.size.width / 2, d.size.height / 2, d.out(), d.size.width, d.size.height);
       }),
       [](Data& d) {
         libyuv::ScalePlane(d.half.plane[0], d.size.width / 2, d.size.width / 2, d.size.height / 2, d.out(),
                            d.size.width, d.size.width, d.size.height, libyuv::kFilterBilinear);
       },
       [](Data& d) { Copy(d, d.pixels() * 5 / 8); },
       kAllSizes,
       {0.4, kFullHd},
       {1.5, kFullHd}},
      {"luma blend",
       [](Data& d) { Kernels().blend(d.out(), d.blurred.plane[0], d.luma(), d.mask.plane[0], d.pixels()); },
       PEXO_WITH_OPENCV([](Data& d) {
         opencv::Blend(d.blurred.plane[0], d.luma(), d.mask.plane[0], d.size.width, d.size.height, d.out());
       }),
       [](Data& d) {
         const int width = d.size.width;
         libyuv::BlendPlane(d.luma(), width, d.blurred.plane[0], width, d.mask.plane[0], width, d.out(), width, width,
                            d.size.height);
       },
       [](Data& d) { Copy(d, d.pixels()); },
       kAllSizes,
       {},
       {1.5, kFullHd}},
      {"split pairs",
       [](Data& d) {
         SplitChromaPairs(d.out(), d.out() + d.pixels() / 4, d.chroma(), d.size.width / 2, d.size.height / 2,
                          d.size.width);
       },
       PEXO_WITH_OPENCV([](Data& d) {
         opencv::SplitPairs(d.chroma(), d.size.width / 2, d.size.height / 2, d.out(), d.out() + d.pixels() / 4);
       }),
       [](Data& d) {
         const int pairs = d.size.width / 2;
         libyuv::SplitUVPlane(d.chroma(), d.size.width, d.out() + d.pixels() / 4, pairs, d.out(), pairs, pairs,
                              d.size.height / 2);
       },
       [](Data& d) { Copy(d, d.pixels() / 2); }, kAllSizes},
      {"merge pairs",
       [](Data& d) { Kernels().merge_pairs(d.out_chroma(), d.luma(), d.luma() + d.pixels() / 4, d.pixels() / 4); },
       PEXO_WITH_OPENCV([](Data& d) {
         opencv::MergePairs(d.luma(), d.luma() + d.pixels() / 4, d.size.width / 2, d.size.height / 2, d.out_chroma());
       }),
       [](Data& d) {
         const int pairs = d.size.width / 2;
         libyuv::MergeUVPlane(d.luma() + d.pixels() / 4, pairs, d.luma(), pairs, d.out_chroma(), d.size.width, pairs,
                              d.size.height / 2);
       },
       [](Data& d) { Copy(d, d.pixels() / 2); }, kAllSizes},
      {"chroma towards grey",
       [](Data& d) { Kernels().blend_towards_grey(d.out_chroma(), d.mask.plane[0], d.pixels() / 2); }, nullptr, nullptr,
       [](Data& d) { Copy(d, d.pixels() * 3 / 4); }, kAllSizes},
      {"soft scores",
       [](Data& d) { Kernels().decode_soft_scores(d.luma(), d.pixels() / 2, d.out(), -4, 43); },
       nullptr,
       nullptr,
       [](Data& d) { Copy(d, d.pixels() * 3 / 4); },
       {kFullHd}},
      {"hard scores",
       [](Data& d) { Kernels().compare_scores(d.luma(), d.mask.plane[0], d.pixels(), d.out()); },
       nullptr,
       nullptr,
       CopyFrame,
       {kFullHd}},
      {"foreground count",
       [](Data& d) { benchmark::DoNotOptimize(Kernels().count_foreground(d.mask.plane[0], d.pixels())); },
       nullptr,
       nullptr,
       [](Data& d) { Copy(d, d.pixels() / 2); },
       {kFullHd}},
      {"contrast table",
       [](Data& d) { Kernels().apply_table(d.out(), d.pixels(), d.chroma()); },
       nullptr,
       nullptr,
       [](Data& d) { Copy(d, d.pixels()); },
       {kFullHd}},
      Resize("resize from 480x270", {480, 270}),
      Resize("resize from 128x128", {128, 128}),
      Composite("compose aligned, mask 128x128", &Data::small_mask, {kFullHd}, 0.2, 3),
      Composite("compose aligned, mask 128x128", &Data::small_mask, {kHd}, 0.16, 3),
      Composite("compose aligned, full-size mask", &Data::mask, kAlignedSizes, 0.35, 3),
      Composite("compose unaligned, mask 128x128", &Data::small_mask, kUnalignedSize, 0.5, 0),
      Composite("compose unaligned, full-size mask", &Data::mask, kUnalignedSize, 0.5, 0),
  };
}

constexpr int kRunsPerIteration = 8;

struct Side {
  const char* name;
  const KernelTier& tier;
  Run Job::*run;
};

const std::vector<Side>& Sides() {
  static const KernelTier &best = KernelTiers().back(), &scalar = KernelTiers().front();
  static const std::vector<Side> sides = {{"best", best, &Job::ours},
                                          {"scalar", scalar, &Job::ours},
                                          {"OpenCV", best, &Job::opencv},
                                          {"libyuv", best, &Job::libyuv},
                                          {"memcpy", best, &Job::memcpy}};
  return sides;
}

std::string NameOf(const Job& job, const Size& size, const char* side) {
  return std::string(job.name) + "/" + size.Name() + "/" + side;
}

// One set of planes for each size, shared by all sides.
Data& DataFor(const Size& size) {
  static std::map<std::string, std::unique_ptr<Data>> all;
  std::unique_ptr<Data>& data = all[size.Name()];
  if (data == nullptr) {
    data = std::make_unique<Data>(size);
  }
  return *data;
}

void Register() {
  static const std::vector<Job> jobs = Jobs();
  for (const Job& job : jobs) {
    for (const Size& size : job.sizes) {
      for (const Side& side : Sides()) {
        const Run& run = job.*side.run;
        if (run == nullptr) continue;
        benchmark::RegisterBenchmark(NameOf(job, size, side.name).c_str(),
                                     [&run, size, side](benchmark::State& state) {
                                       Data& data = DataFor(size);
                                       ForceKernelTier(side.tier);
                                       run(data);  // finds the caches and the heap as another job left them
                                       library_seconds = 0;
                                       for (auto _ : state) {
                                         const double start = ThreadSeconds();
                                         for (int i = 0; i < kRunsPerIteration; ++i) {
                                           run(data);
                                           benchmark::ClobberMemory();
                                         }
                                         state.SetIterationTime((ThreadSeconds() - start) / kRunsPerIteration);
                                       }
                                       state.counters["library_ms"] =
                                           benchmark::Counter(library_seconds * 1e3 / kRunsPerIteration,
                                                              benchmark::Counter::kAvgIterations);
                                     })
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
      }
    }
  }
}

double Find(const Medians& medians, const std::string& name) {
  const auto found = medians.find(name);
  return found == medians.end() ? 0 : found->second;
}

void PrintCell(double value, const char* unit) {
  if (value > 0) {
    std::printf(" %7.3f%s", value, unit);
  } else {
    std::printf(" %7s%*s", "-", static_cast<int>(std::strlen(unit)), "");
  }
}

int missed_bars = 0;

void PrintBar(double ratio, double limit, const char* what) {
  if (limit > 0 && ratio > 0) {
    std::printf("  %s %.3f, bar %.2f%s", what, ratio, limit, ratio <= limit ? "" : " MISSED");
    missed_bars += ratio > limit;
  }
}

bool Applies(const Bar& bar, const Size& size) {
  return bar.limit > 0 && (bar.size.width == 0 || (bar.size.width == size.width && bar.size.height == size.height));
}

void PrintTable(const Medians& medians) {
  std::printf("The background blur, one thread, ms (best: %s; ratios are best / the other)\n",
              KernelTiers().back().name);
  std::printf("%-34s %9s %7s %7s %7s %7s %7s | %8s %8s %8s\n", "job", "size", "best", "scalar", "OpenCV", "libyuv",
              "memcpy", "/OpenCV", "/libyuv", "/memcpy");
  for (const Job& job : Jobs()) {
    for (const Size& size : job.sizes) {
      const double best = Find(medians, NameOf(job, size, "best"));
      const double opencv = Find(medians, NameOf(job, size, "OpenCV"));
      const double libyuv = Find(medians, NameOf(job, size, "libyuv"));
      const double copied = Find(medians, NameOf(job, size, "memcpy"));
      if (best == 0) continue;
      std::printf("%-34s %9s", job.name, size.Name().c_str());
      for (const char* side : {"best", "scalar", "OpenCV", "libyuv", "memcpy"}) {
        PrintCell(Find(medians, NameOf(job, size, side)), "");
      }
      std::printf(" |");
      const double to_opencv = opencv > 0 ? best / opencv : 0, to_libyuv = libyuv > 0 ? best / libyuv : 0;
      PrintCell(to_opencv, "x");
      PrintCell(to_libyuv, "x");
      PrintCell(copied > 0 ? best / copied : 0, "x");
      PrintBar(to_opencv, Applies(job.opencv_bar, size) ? job.opencv_bar.limit : 0, "OpenCV");
      PrintBar(to_libyuv, Applies(job.libyuv_bar, size) ? job.libyuv_bar.limit : 0, "libyuv");
      std::printf("\n");
      if (job.composite) {
        const double library = Find(medians, NameOf(job, size, "best") + ":library_ms");
        const double own = best - library;
        std::printf("%-34s %9s", "  without the image library", size.Name().c_str());
        PrintCell(own, "");
        std::printf("%41s", "|");
        std::printf("%26s", "");
        PrintCell(own / copied, "x");
        PrintBar(own / copied, job.memcpy_bar, "memcpy");
        std::printf("\n");
      }
    }
  }
  std::printf("%d bars missed\n", missed_bars);
}

}  // namespace
}  // namespace pexo::bench

int main(int argc, char** argv) {
#ifdef PEXO_BENCH_OPENCV
  pexo::bench::opencv::UseOneThread();
#endif
  pexo::bench::Register();
  // An iteration is several runs, so that reading the clock costs nothing; a shorter minimum keeps a table to a minute.
  static char min_time[] = "--benchmark_min_time=0.003";
  std::vector<char*> arguments(argv, argv + argc);
  arguments.insert(arguments.begin() + 1, min_time);
  return pexo::bench::Main(static_cast<int>(arguments.size()), arguments.data(), pexo::bench::PrintTable);
}
