// SPDX-License-Identifier: BSD-2-Clause
//
// Time per sample of each measure, in the form of LUMAGAUGE_TARGET or the best one. Freezing is
// left out: it compares two numbers.
#include "bench/support.h"
#include "indicators/indicators.h"

#include <bit>
#include <functional>
#include <map>
#include <numeric>

namespace lumagauge::bench {
namespace {

struct Size {
  std::size_t w, h;
};
constexpr Size SIZES[] = {{176, 144}, {1280, 720}, {1920, 1080}, {3840, 2160}};

/// Two frames of a moving picture, and room for what flickering finds.
struct Frames {
  explicit Frames(Size size)
      : previousSamples(pictureSamples(size.w, size.h, 0)),
        currentSamples(pictureSamples(size.w, size.h, 1)),
        changedBlocks(size.w / BLOCKSIZE * (size.h / BLOCKSIZE)),
        previous(size.w, size.h, previousSamples.data()),
        current(size.w, size.h, currentSamples.data()) {}
  Frames(const Frames &) = delete;
  Frames &operator=(const Frames &) = delete;

  std::vector<std::uint8_t> previousSamples, currentSamples, changedBlocks;
  Plane previous, current;
};

double changedBlocks(Frames &frames) {
  findChangedBlocks(frames.current, frames.previous, frames.changedBlocks.data());
  return std::accumulate(frames.changedBlocks.begin(), frames.changedBlocks.end(), 0.0);
}

struct Measure {
  const char *name;
  std::function<double(Frames &frames)> run;
};
#define BENCH_PICTURE(name, Name)                                                                  \
  {name, [](Frames &f) { return measure##Name(f.current).value_or(-1.0); }},
#define BENCH_PAIR(name, Name)                                                                     \
  {name, [](Frames &f) { return measure##Name(f.current, f.previous).value_or(-1.0); }},
#define BENCH_SEQUENCE(name, Name)     // their costly part is not in the list
#define BENCH_PICTURE_PART(name, Name) // below
#define BENCH_PAIR_PART(name, Name)
#define BENCH_MEASURE(CONSTANT, name, field, Name, KIND, ...) BENCH_##KIND(#name, Name)
const Measure MEASURES[] = {
    LUMAGAUGE_INDICATORS(BENCH_MEASURE){"flickering", changedBlocks},
    {"bars", [](Frames &f) { return measureBars(f.current).top.value_or(-1.0); }},
    {"stillness",
     [](Frames &f) { return measureStillness(f.current, f.previous).value_or(Stillness{}).still; }},
    {"block_structure",
     [](Frames &f) { return measureBlockStructure(f.current).value_or(BlockStructure{}).flat; }},
    {"stale_rows",
     [](Frames &f) {
       std::vector<std::int16_t> sums;
       sumRowBlocks(f.current, sums);
       return std::accumulate(sums.begin(), sums.end(), 0.0);
     }},
    {"levels", [](Frames &f) {
       return measureLevels(f.current, {16, 235}).clippedHigh;
     }}};

void measure(benchmark::State &state, const Measure &indicator, Size size) {
  static std::map<std::size_t, Frames> made;
  Frames &frames = made.try_emplace(size.w, size).first->second;
  const std::string form = rows().form;
  useRows("plain");
  const double expected = indicator.run(frames);
  useRows(form);
  const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
  if (bits(indicator.run(frames)) != bits(expected))
    failOnMismatch(indicator.name, form);
  for (auto _ : state)
    benchmark::DoNotOptimize(indicator.run(frames));
  report(state, size.w * size.h, rows().form);
}

void registerAll() {
  for (const Measure &indicator : MEASURES)
    for (const Size size : SIZES)
      add(std::string(indicator.name) + '/' + std::to_string(size.w) + 'x' + std::to_string(size.h),
          [&indicator, size](benchmark::State &state) { measure(state, indicator, size); });
}

} // namespace
} // namespace lumagauge::bench

int main(int argc, char **argv) {
  return lumagauge::bench::runBenchmarks(argc, argv, lumagauge::bench::registerAll);
}
