// SPDX-License-Identifier: Apache-2.0
// What the benches share: Google Benchmark's measurements as one table of times and ratios.
#ifndef PEXO_BENCH_TABLE_H_
#define PEXO_BENCH_TABLE_H_

#include <map>
#include <string>

namespace pexo::bench {

// The median over the repetitions of one run: milliseconds of real time per iteration under the benchmark's name, and
// each of its counters under "name:counter".
using Medians = std::map<std::string, double>;

// Runs the registered benchmarks. With --table on the command line: several repetitions in random order, so that a
// noisy machine slows all sides alike, and then `print_table`; otherwise as Google Benchmark does.
int Main(int argc, char** argv, void (*print_table)(const Medians& medians));

// "label   1.234 ms" and "label   0.56 x   (bar: at most 1.20)", aligned.
void PrintRow(const std::string& label, double milliseconds);
void PrintRatio(const std::string& label, double ratio, double bar);

}  // namespace pexo::bench

#endif  // PEXO_BENCH_TABLE_H_
