// SPDX-License-Identifier: BSD-2-Clause
//
// What the benchmark programs share.
#ifndef LUMAGAUGE_BENCH_SUPPORT_H
#define LUMAGAUGE_BENCH_SUPPORT_H

#include "tools/rows.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

namespace lumagauge::bench {

/// The w * h luma samples of a made picture with what decides the cost of a real one: soft shading,
/// texture of several sizes, hard and soft edges, plain areas and grain. `frame` moves it.
std::vector<std::uint8_t> pictureSamples(std::size_t w, std::size_t h, int frame = 0);

/// Ends the program with a message: a benchmark of a wrong result says nothing.
[[noreturn]] void failOnMismatch(const std::string &what, const std::string &form);

/// Adds the time per sample, and the form that ran as the label.
void report(benchmark::State &state, std::size_t samples, const char *form);

/// Registers a benchmark whose aggregates hold the best repetition too, which is the figure to
/// read on a machine with other work.
template <class Function> void add(const std::string &name, Function run) {
  benchmark::RegisterBenchmark(name.c_str(), run)
      ->ComputeStatistics("best", [](const std::vector<double> &times) {
        double best = times.front();
        for (const double time : times)
          best = time < best ? time : best;
        return best;
      });
}

/// Makes the form of LUMAGAUGE_TARGET the one in use (the best one without it), registers the
/// benchmarks and runs those that the options of Google Benchmark choose. Returns the exit status.
int runBenchmarks(int argc, char **argv, void (*registerAll)());

} // namespace lumagauge::bench

#endif
