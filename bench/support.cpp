// SPDX-License-Identifier: BSD-2-Clause
#include "bench/support.h"
#include "bench/target.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace lumagauge::bench {

namespace {

std::uint32_t hash(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
  std::uint32_t h = x * 0x9E3779B1U ^ y * 0x85EBCA77U ^ seed * 0xC2B2AE3DU;
  h = (h ^ h >> 15) * 0x2C1B3C6DU;
  h = (h ^ h >> 12) * 0x297A2D39U;
  return h ^ h >> 15;
}

/// Value noise: random levels of -1 to 1 on a lattice `cell` samples apart, smoothed in between.
double texture(std::uint32_t x, std::uint32_t y, std::uint32_t cell) {
  const auto level = [&](std::uint32_t i, std::uint32_t k) {
    return hash(x / cell + i, y / cell + k, cell) / 2147483648.0 - 1.0;
  };
  const double u = static_cast<double>(x % cell) / cell, v = static_cast<double>(y % cell) / cell;
  const double s = u * u * (3 - 2 * u), t = v * v * (3 - 2 * v);
  return std::lerp(std::lerp(level(0, 0), level(1, 0), s), std::lerp(level(0, 1), level(1, 1), s),
                   t);
}

} // namespace

std::vector<std::uint8_t> pictureSamples(std::size_t w, std::size_t h, int frame) {
  std::vector<std::uint8_t> samples(w * h);
  const auto shift = static_cast<std::uint32_t>(3 * frame), unit = static_cast<std::uint32_t>(h);
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x) {
      const std::uint32_t sx = x + shift;
      double level = 110 + 60 * texture(sx, y, unit / 2 + 1); // shading
      level += 25 * texture(sx, y, 37);
      if (texture(sx, y + 7, unit / 4 + 1) > 0) // texture in about half of the picture
        level += 20 * texture(sx, y, 5) + 10 * texture(sx, y, 2);
      if (texture(sx + 31, y, unit / 6 + 1) > 0.2) // objects with hard edges
        level = 230 - level;
      const std::uint32_t grain = hash(x, y, static_cast<std::uint32_t>(frame) + 1);
      level += (grain % 1024 + grain / 1024 % 1024) / 341.0 - 3.0;
      samples[y * w + x] = static_cast<std::uint8_t>(std::clamp(level, 0.0, 255.0));
    }
  return samples;
}

void failOnMismatch(const std::string &what, const std::string &form) {
  std::fprintf(stderr, "%s: the form %s does not give what the plain form gives\n", what.c_str(),
               form.c_str());
  std::exit(1);
}

void report(benchmark::State &state, std::size_t samples, const char *form) {
  using benchmark::Counter;
  const double measured = static_cast<double>(samples) * static_cast<double>(state.iterations());
  // Printed with the unit that fits, from fs to s.
  state.counters["per_sample"] = Counter(measured, Counter::kIsRate | Counter::kInvert);
  state.SetLabel(form);
}

int runBenchmarks(int argc, char **argv, void (*registerAll)()) {
  useFormOfEnvironment();
  // Options of the caller come later and win.
  std::array<std::string, 3> defaults{"--benchmark_repetitions=5",
                                      "--benchmark_report_aggregates_only=true",
                                      "--benchmark_min_time=0.02"};
  std::vector<char *> arguments{argv[0]};
  for (std::string &option : defaults)
    arguments.push_back(option.data());
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
    return 1;
  registerAll();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

} // namespace lumagauge::bench
