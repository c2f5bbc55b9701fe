// SPDX-License-Identifier: Apache-2.0
// The blur's kernels and composites, each beside its scalar form, the same job with OpenCV (where it is installed) and
// libyuv, and a memcpy of what it moves. One thread; processor times, medians of one run.
#include <benchmark/benchmark.h>
#include <qmx/qmx_image.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/blur_jobs.h"
#include "bench/table.h"
#include "kernels/kernel_table.h"
#ifdef PEXO_BENCH_OPENCV
#include "bench/bench_blur_opencv.h"
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
