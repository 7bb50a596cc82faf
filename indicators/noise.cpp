// SPDX-License-Identifier: BSD-2-Clause
//
// Noise: how far the samples scatter around a Gaussian-smoothed picture, in luma levels, measured
// in the 8x8 blocks whose deviation is the picture's most common one (at most 1000 of them). 0 and
// up; more is noisier or finer in texture. Without a value for a (nearly) flat picture and for one
// without a whole block; NaN when no block lies at the level found.
#include "indicators/indicators.h"
#include "indicators/routine.h"
#include "tools/arithmetic.h"
#include "tools/working_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace lumagauge {

namespace {

constexpr std::int32_t HISTOGRAM_ENTRIES = 128;
constexpr std::uint32_t GAUSSIAN_MASK_SIZE = 3;
constexpr std::uint32_t MAX_CONTAINER_WIDTH = 1000; ///< blocks

/// The weighted mean bin around the mode of the deviations' histogram, NaN without deviations. The
/// mode is the bin that first reached the highest count.
double commonDeviation(const ImageDouble *deviations) {
  std::array<std::uint32_t, HISTOGRAM_ENTRIES> count{};
  std::size_t mode = 0;
  for (std::uint64_t i = 0; i < deviations->w * deviations->h; ++i) {
    const auto bin = static_cast<std::size_t>(std::clamp(
        static_cast<std::int32_t>(std::round(deviations->data[i])), 0, HISTOGRAM_ENTRIES - 1));
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

/// Copies the blocks at `level` side by side into the container and returns how many there are.
std::uint32_t chooseBlocks(const Image *luma, const ImageDouble *deviations, double level,
                           Image *container) {
  const auto rounded = std::round(level);
  const bool roundedUp = std::trunc(level) != rounded;
  std::uint32_t chosen = 0;
  for (std::uint64_t i = 0; i < deviations->w * deviations->h && chosen < MAX_CONTAINER_WIDTH;
       ++i) {
    const double deviation = deviations->data[i];
    if ((roundedUp ? std::round(deviation) : std::floor(deviation)) != rounded)
      continue;
    const std::uint64_t x = i % deviations->w * BLOCKSIZE, y = i / deviations->w * BLOCKSIZE;
    for (std::uint64_t r = 0; r < BLOCKSIZE; ++r)
      std::copy_n(luma->data + (y + r) * luma->w + x, BLOCKSIZE,
                  container->data + r * container->w + chosen * BLOCKSIZE);
    ++chosen;
  }
  return chosen;
}

/// A 3x3 Gaussian of that sigma. The factor is 1 / (6.28 sigma^2), and the weights are not scaled
/// to sum 1: both belong to the indicator's definition.
void fillGaussian(ImageDouble *kernel, std::uint32_t sigma) {
  const std::uint32_t q = sigma * sigma;
  const double factor = 1.0 / (q * 6.28);
  for (int i = -1; i <= 1; ++i)
    for (int j = -1; j <= 1; ++j)
      kernel->data[(i + 1) * 3 + j + 1] =
          std::exp(static_cast<double>(-(i * i + j * j)) / static_cast<double>(2 * q)) * factor;
}

/// Mean over the container's first n blocks of the deviation of what smoothing takes away. Without
/// a value when the filter refuses.
std::optional<double> residualDeviation(const Image *container, std::uint32_t n,
                                        const ImageDouble *kernel) {
  WorkingImageDouble smoothed(container->w, container->h);
  if (filter(container, smoothed, kernel, n, BLOCKSIZE, BLOCKSIZE) != 0) {
    std::printf("Cannot filter the selected blocks! ");
    std::puts("Check the string above to see what is the problem.");
    return std::nullopt;
  }
  WorkingImageDouble residual(BLOCKSIZE * n, BLOCKSIZE);
  for (std::uint64_t y = 0; y < residual->h; ++y)
    for (std::uint64_t x = 0; x < residual->w; ++x)
      residual->data[y * residual->w + x] =
          container->data[y * container->w + x] - smoothed->data[y * smoothed->w + x];
  WorkingImageDouble sums(n, 1), squareSums(n, 1), deviations(n, 1);
  calculateStdDevsDouble_ommitZeros(residual, sums, squareSums, deviations, kernel, BLOCKSIZE,
                                    BLOCKSIZE);
  double total = 0.0;
  for (std::uint32_t k = 0; k < n; ++k)
    total += deviations->data[k];
  return quotient(total, n);
}

} // namespace

std::optional<double> measureNoise(const Image *luma) {
  const std::uint64_t across = luma->w / BLOCKSIZE, down = luma->h / BLOCKSIZE;
  WorkingImage32 sums(across, down), squareSums(across, down);
  WorkingImageDouble deviations(across, down);
  calculateStdDevs(luma, sums, squareSums, deviations, BLOCKSIZE, BLOCKSIZE);

  const double level = commonDeviation(deviations);
  if (!(level >= 0.5)) // also a NaN
    return std::nullopt;
  WorkingImage container(MAX_CONTAINER_WIDTH * BLOCKSIZE, BLOCKSIZE);
  const std::uint32_t n = chooseBlocks(luma, deviations, level, container);
  WorkingImageDouble kernel(GAUSSIAN_MASK_SIZE, GAUSSIAN_MASK_SIZE);
  fillGaussian(kernel, static_cast<std::uint32_t>(std::round(level)));
  return residualDeviation(container, n, kernel);
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
