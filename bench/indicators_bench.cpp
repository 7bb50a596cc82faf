// SPDX-License-Identifier: BSD-2-Clause
//
// Time per sample of each measure, in the form of LUMAGAUGE_TARGET or the best one. Freezing is
// left out: it compares two numbers.
#include "bench/support.h"
#include "indicators/indicators.h"

#include <bit>
#include <map>

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
        previous(makeImage(size.w, size.h, previousSamples.data())),
        current(makeImage(size.w, size.h, currentSamples.data())),
        changed(makeImage(size.w / BLOCKSIZE, size.h / BLOCKSIZE, changedBlocks.data())) {}
  Frames(const Frames &) = delete;
  Frames &operator=(const Frames &) = delete;

  std::vector<std::uint8_t> previousSamples, currentSamples, changedBlocks;
  Image previous, current, changed;
};

struct Measure {
  const char *name;
  double (*run)(Frames &frames);
};
const Measure MEASURES[] = {
    {"blockiness", [](Frames &f) { return measureBlockiness(&f.current); }},
    {"spatialActivity", [](Frames &f) { return measureSpatialActivity(&f.current); }},
    {"letterbox", [](Frames &f) { return measureLetterbox(&f.current); }},
    {"pillarbox", [](Frames &f) { return measurePillarbox(&f.current); }},
    {"blockLoss", [](Frames &f) { return measureBlockLoss(&f.current); }},
    {"blur", [](Frames &f) { return measureBlur(&f.current); }},
    {"temporalActivity", [](Frames &f) { return temporalActivity(&f.current, &f.previous); }},
    {"blackout", [](Frames &f) { return measureBlackout(&f.current) ? 1.0 : 0.0; }},
    {"exposure", [](Frames &f) { return measureExposure(&f.current); }},
    {"contrast", [](Frames &f) { return measureContrast(&f.current); }},
    {"interlace", [](Frames &f) { return measureInterlace(&f.current); }},
    {"noise", [](Frames &f) { return measureNoise(&f.current).value_or(-1.0); }},
    {"slice", [](Frames &f) { return measureSlice(&f.current).value_or(-1.0); }},
    {"flickering",
     [](Frames &f) {
       findChangedBlocks(&f.current, &f.previous, &f.changed);
       return static_cast<double>(sumPixels(&f.changed));
     }},
};

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
