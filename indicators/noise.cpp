// SPDX-License-Identifier: BSD-2-Clause
//
// Noise: how far the samples scatter around a Gaussian-smoothed picture, in luma levels, measured
// in the 8x8 blocks whose deviation is the picture's most common one (at most 1000 of them). 0 and
// up; more is noisier or finer in texture. Without a value for a (nearly) flat picture and for one
// without a whole block; NaN when no block lies at the level found.
#include "indicators/indicators.h"
#include "indicators/routine.h"
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

/// round() of a number that is not negative, without a call.
std::int32_t roundHalfUp(double value) {
  const auto whole = static_cast<std::int32_t>(value);
  return whole + (value - whole >= 0.5);
}

/// Sample standard deviation of every whole 8x8 block, in raster order.
std::vector<double> blockDeviations(const Image *luma) {
  const std::uint64_t across = luma->w / BLOCKSIZE, down = luma->h / BLOCKSIZE;
  std::vector<double> deviations(across * down);
  for (std::uint64_t by = 0; by < down; ++by)
    rows().blockDeviations(luma->data + by * BLOCKSIZE * luma->w, luma->w, across,
                           deviations.data() + by * across);
  return deviations;
}

/// The weighted mean bin around the mode of the deviations' histogram, NaN without deviations. The
/// mode is the bin that first reached the highest count.
double commonDeviation(const std::vector<double> &deviations) {
  std::array<std::uint32_t, HISTOGRAM_ENTRIES> count{};
  std::size_t mode = 0;
  for (const double deviation : deviations) {
    const auto bin =
        static_cast<std::size_t>(std::min(roundHalfUp(deviation), HISTOGRAM_ENTRIES - 1));
    ++count[bin];
    if (count[mode] < count[bin])
      mode = bin;
  }
  const std::size_t first = std::clamp<std::size_t>(mode, 1, HISTOGRAM_ENTRIES - 2) - 1;
  const auto weighted =
      first * count[first] + (first + 1) * count[first + 1] + (first + 2) * count[first + 2];
  const auto total = count[first] + count[first + 1] + count[first + 2];
  return quotient(static_cast<double>(weighted), static_cast<double>(total));
}

/// Puts the first BLOCK_STRIP blocks at `level` side by side into the strip and returns their
/// number.
std::size_t chooseBlocks(const Image *luma, const std::vector<double> &deviations, double level,
                         std::uint8_t *strip) {
  const std::int32_t rounded = roundHalfUp(level);
  const bool roundedUp = static_cast<std::int32_t>(level) != rounded;
  const std::uint64_t across = luma->w / BLOCKSIZE;
  std::size_t chosen = 0;
  for (std::uint64_t i = 0; i < deviations.size() && chosen < BLOCK_STRIP; ++i) {
    const double deviation = deviations[i];
    if ((roundedUp ? roundHalfUp(deviation) : static_cast<std::int32_t>(deviation)) != rounded)
      continue;
    const std::uint8_t *corner =
        luma->data + i / across * BLOCKSIZE * luma->w + i % across * BLOCKSIZE;
    for (std::uint64_t k = 0; k < BLOCKSIZE * BLOCKSIZE; ++k)
      strip[k * BLOCK_STRIP + chosen] = corner[k / BLOCKSIZE * luma->w + k % BLOCKSIZE];
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

std::optional<double> measureNoise(const Image *luma) {
  const std::vector<double> deviations = blockDeviations(luma);
  const double level = commonDeviation(deviations);
  if (!(level >= 0.5)) // also a NaN
    return std::nullopt;
  std::vector<std::uint8_t> strip(BLOCKSIZE * BLOCKSIZE * BLOCK_STRIP);
  const std::size_t n = chooseBlocks(luma, deviations, level, strip.data());
  const std::array<double, 9> kernel = gaussian(static_cast<std::uint32_t>(roundHalfUp(level)));
  std::vector<double> residuals(n);
  rows().residualDeviations(strip.data(), n, kernel.data(), residuals.data());
  // The order of the blocks decides the sum's last bit.
  const double total = std::accumulate(residuals.begin(), residuals.end(), 0.0);
  return quotient(total, static_cast<double>(n));
}

void *noise(void *luma) {
  bool measured = false;
  runRoutine(luma, [&](const Image *picture) {
    const std::optional<double> value = measureNoise(picture);
    Results.noise = value.value_or(0.0);
    measured = value.has_value();
  });
  return reinterpret_cast<void *>(static_cast<std::intptr_t>(measured ? 0 : -1));
}

int compare(const void *a, const void *b) {
  const double first = *static_cast<const double *>(a), second = *static_cast<const double *>(b);
  return (first > second) - (first < second);
}

} // namespace lumagauge
