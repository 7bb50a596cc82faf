// SPDX-License-Identifier: BSD-2-Clause
//
// Noise: how far the samples scatter around a Gaussian-smoothed picture, in luma levels, measured
// in the 8x8 blocks whose deviation is the picture's most common one (at most 1000 of them). 0 and
// up; more is noisier or finer in texture. Without a value for a (nearly) flat picture and for one
// without a whole block; NaN when no block lies at the level found.
#include "indicators/routines.h"
#include "tools/arithmetic.h"
#include "tools/rows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <vector>

namespace lumagauge {

namespace {

constexpr std::int32_t HISTOGRAM_ENTRIES = 128;

/// Twice the sample standard deviation of every whole 8x8 block, rounded down, in raster order. As
/// halves, deviations are rounded down and to the nearest by whole numbers alone.
std::vector<std::uint16_t> blockHalves(const Plane &luma) {
  const std::uint64_t across = luma.w / BLOCKSIZE, down = luma.h / BLOCKSIZE;
  std::vector<double> deviations(across);
  std::vector<std::uint16_t> halves(across * down);
  for (std::uint64_t by = 0; by < down; ++by) {
    rows().blockDeviations(luma.data + by * BLOCKSIZE * luma.w, luma.w, across, deviations.data());
    for (std::uint64_t bx = 0; bx < across; ++bx)
      halves[by * across + bx] =
          static_cast<std::uint16_t>(static_cast<std::int32_t>(2.0 * deviations[bx]));
  }
  return halves;
}

std::int32_t roundDown(std::uint16_t halves) {
  return halves / 2;
}
std::int32_t roundHalfUp(std::uint16_t halves) {
  return (halves + 1) / 2;
}
std::size_t binOf(std::uint16_t halves) {
  return static_cast<std::size_t>(std::min(roundHalfUp(halves), HISTOGRAM_ENTRIES - 1));
}

using Histogram = std::array<std::uint32_t, HISTOGRAM_ENTRIES>;

Histogram countBins(const std::vector<std::uint16_t> &halves) {
  Histogram count{};
  for (const std::uint16_t block : halves)
    ++count[binOf(block)];
  return count;
}

/// The fullest bin; of several, the one that is full first in raster order.
std::size_t modeOf(const Histogram &count, const std::vector<std::uint16_t> &halves) {
  const auto fullest = std::max_element(count.begin(), count.end());
  if (std::count(count.begin(), count.end(), *fullest) == 1)
    return static_cast<std::size_t>(fullest - count.begin());
  Histogram missing = count;
  for (const std::uint16_t block : halves)
    if (const std::size_t bin = binOf(block); --missing[bin] == 0 && count[bin] == *fullest)
      return bin;
  return 0; // no blocks
}

/// The weighted mean bin around the mode of the deviations' histogram, NaN without blocks.
double commonDeviation(const std::vector<std::uint16_t> &halves) {
  const Histogram count = countBins(halves);
  const std::size_t first =
      std::clamp<std::size_t>(modeOf(count, halves), 1, HISTOGRAM_ENTRIES - 2) - 1;
  const auto weighted =
      first * count[first] + (first + 1) * count[first + 1] + (first + 2) * count[first + 2];
  const auto total = count[first] + count[first + 1] + count[first + 2];
  return quotient(static_cast<double>(weighted), static_cast<double>(total));
}

/// Puts the first BLOCK_STRIP blocks at `level` side by side into the strip and returns their
/// number.
std::size_t chooseBlocks(const Plane &luma, const std::vector<std::uint16_t> &halves, double level,
                         std::uint8_t *strip) {
  const auto levelHalves = static_cast<std::uint16_t>(2.0 * level);
  const std::int32_t rounded = roundHalfUp(levelHalves);
  const bool roundedUp = roundDown(levelHalves) != rounded;
  const std::uint64_t across = luma.w / BLOCKSIZE;
  std::size_t chosen = 0;
  for (std::uint64_t i = 0; i < halves.size() && chosen < BLOCK_STRIP; ++i) {
    if ((roundedUp ? roundHalfUp(halves[i]) : roundDown(halves[i])) != rounded)
      continue;
    const std::uint8_t *corner =
        luma.data + i / across * BLOCKSIZE * luma.w + i % across * BLOCKSIZE;
    for (std::uint64_t y = 0; y < BLOCKSIZE; ++y)
      for (std::uint64_t x = 0; x < BLOCKSIZE; ++x)
        strip[(y * BLOCKSIZE + x) * BLOCK_STRIP + chosen] = corner[y * luma.w + x];
    ++chosen;
  }
  return chosen;
}

/// A 3x3 Gaussian of that sigma. The factor is 1 / (6.28 sigma^2), and the weights are not scaled
/// to sum 1: both belong to the indicator's definition.
std::array<double, 9> gaussian(std::uint32_t sigma) {
  const std::uint32_t q = sigma * sigma;
  const double factor = 1.0 / (q * 6.28);
  std::array<double, 9> kernel;
  for (int i = -1; i <= 1; ++i)
    for (int j = -1; j <= 1; ++j)
      kernel[static_cast<std::size_t>((i + 1) * 3 + j + 1)] =
          std::exp(static_cast<double>(-(i * i + j * j)) / static_cast<double>(2 * q)) * factor;
  return kernel;
}

} // namespace

std::optional<double> measureNoise(const Plane &luma) {
  const std::vector<std::uint16_t> halves = blockHalves(luma);
  const double level = commonDeviation(halves);
  if (!(level >= 0.5)) // also a NaN
    return std::nullopt;
  std::vector<std::uint8_t> strip(BLOCKSIZE * BLOCKSIZE * BLOCK_STRIP);
  const std::size_t n = chooseBlocks(luma, halves, level, strip.data());
  const std::array<double, 9> kernel = gaussian(static_cast<std::uint32_t>(std::lround(level)));
  std::vector<double> residuals(n);
  rows().residualDeviations(strip.data(), n, kernel.data(), residuals.data());
  // The order of the blocks decides the sum's last bit.
  const double total = std::accumulate(residuals.begin(), residuals.end(), 0.0);
  return quotient(total, static_cast<double>(n));
}

void *noise(void *luma) {
  const bool measured = storeMeasure(luma, measureNoise, &FrameResults::noise, 0.0);
  return reinterpret_cast<void *>(static_cast<std::intptr_t>(measured ? 0 : -1));
}

int compare(const void *a, const void *b) {
  const double first = *static_cast<const double *>(a), second = *static_cast<const double *>(b);
  return (first > second) - (first < second);
}

} // namespace lumagauge
