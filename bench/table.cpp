// SPDX-License-Identifier: Apache-2.0
#include "bench/table.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace pexo::bench {
namespace {

class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string name = run.run_name.function_name + (run.run_name.args.empty() ? "" : "/" + run.run_name.args);
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", name.c_str(), run.error_message.c_str());
        failed_ = true;
        continue;
      }
      samples_[name].push_back(run.real_accumulated_time / static_cast<double>(run.iterations) * 1e3);
      for (const auto& [counter, value] : run.counters) samples_[name + ":" + counter].push_back(value);
    }
  }

  bool failed() const { return failed_; }

  Medians Result() {
    Medians medians;
    for (auto& [name, values] : samples_) {
      const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
      std::nth_element(values.begin(), middle, values.end());
      medians[name] = *middle;
    }
    return medians;
  }

 private:
  std::map<std::string, std::vector<double>> samples_;
  bool failed_ = false;
};

}  // namespace

int Main(int argc, char** argv, void (*print_table)(const Medians& medians)) {
  std::vector<char*> arguments(argv, argv + argc);
  const auto flag = std::find_if(arguments.begin() + 1, arguments.end(),
                                 [](const char* argument) { return std::strcmp(argument, "--table") == 0; });
  const bool table = flag != arguments.end();
  static char repetitions[] = "--benchmark_repetitions=9";
  static char min_time[] = "--benchmark_min_time=0.05";
  static char interleaving[] = "--benchmark_enable_random_interleaving=true";
  if (table) {
    arguments.erase(flag);
    // In front, so that the user's own flags win.
    arguments.insert(arguments.begin() + 1, {repetitions, min_time, interleaving});
  }
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
  if (!table) {
    benchmark::RunSpecifiedBenchmarks();
    return 0;
  }
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  if (collector.failed()) return 1;
  print_table(collector.Result());
  return 0;
}

void PrintRow(const std::string& label, double milliseconds) {
  std::printf("  %-64s %9.3f ms\n", label.c_str(), milliseconds);
}

void PrintRatio(const std::string& label, double ratio, double bar) {
  std::printf("  %-64s %9.2f x   (bar: at most %.2f)\n", label.c_str(), ratio, bar);
}

}  // namespace pexo::bench
