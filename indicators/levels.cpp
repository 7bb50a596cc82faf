// SPDX-License-Identifier: BSD-2-Clause
//
// Levels: what the samples give one by one. `brightness`: their mean, in luma levels, 0 to 255.
// `clippedLow`, `clippedHigh`: the shares of samples at or beyond the ends of the video's range,
// where shadows or lights have lost their detail, 0 to 1. Contrast comes of the same sums.
#include "indicators/indicators.h"
#include "tools/rows.h"

#include <algorithm>

namespace lumagauge {

namespace {
/// Samples that stay in the nearest cache from one operation on them to the next.
constexpr std::uint64_t STRIP = 16384;
} // namespace

Levels measureLevels(const Plane &luma, LumaRange range) {
  const std::uint64_t samples = luma.w * luma.h;
  Moments moments{};
  EndCounts ends{};
  for (std::uint64_t first = 0; first < samples; first += STRIP) {
    const std::uint64_t count = std::min(STRIP, samples - first);
    const Moments of = rows().moments(luma.data + first, count);
    const EndCounts at = rows().countEnds(luma.data + first, count, range.black, range.white);
    moments.sum += of.sum;
    moments.squares += of.squares;
    ends.low += at.low;
    ends.high += at.high;
  }
  const auto n = static_cast<double>(samples);
  return {contrastOf(moments, samples), static_cast<double>(moments.sum) / n,
          static_cast<double>(ends.low) / n, static_cast<double>(ends.high) / n};
}

} // namespace lumagauge
