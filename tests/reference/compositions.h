// SPDX-License-Identifier: BSD-2-Clause
//
// The indicators that stream, composed from the toolkit's whole-picture operations instead: each
// step of the definition fills a map. Slow, and the measure of what the streamed ones must give.
#ifndef LUMAGAUGE_TESTS_REFERENCE_COMPOSITIONS_H
#define LUMAGAUGE_TESTS_REFERENCE_COMPOSITIONS_H

#include "indicators/routines.h"
#include "tests/support/pictures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numeric>
#include <optional>
#include <vector>

namespace lumagauge::test {

inline double sum(const Map &map) {
  return static_cast<double>(sumPixels32(&map));
}

/// Squared magnitudes of the Roberts cross at every stepX-th column and stepY-th row.
inline Map edges(const Image *luma, std::uint32_t stepX = 1, std::uint32_t stepY = 1) {
  const std::uint64_t w = luma->w / stepX, h = luma->h / stepY;
  Map x(w, h), y(w, h), squares(w, h);
  if (stepX * stepY == 1)
    roberts(luma, &x, &y);
  else
    robertsSkip(luma, &x, &y, static_cast<int>(stepX), static_cast<int>(stepY));
  addSquares32(&x, &y, &squares);
  return squares;
}

inline Doubles deviationsOf(const Image *luma, std::uint64_t side) {
  const std::uint64_t across = luma->w / side, down = luma->h / side;
  Map sums(across, down), squareSums(across, down);
  Doubles deviations(across, down);
  calculateStdDevs(luma, &sums, &squareSums, &deviations, side, side);
  return deviations;
}

/// The mean bin around the mode of the deviations' histogram, which is the bin that first reached
/// the highest count; NaN without deviations.
inline double commonDeviation(const Doubles &deviations) {
  std::array<int, 128> count{};
  std::size_t mode = 0;
  for (const double deviation : deviations.samples) {
    const auto bin = static_cast<std::size_t>(std::min(std::round(deviation), 127.0));
    if (++count[bin] > count[mode])
      mode = bin;
  }
  const std::size_t middle = std::clamp<std::size_t>(mode, 1, 126);
  double weighted = 0.0, total = 0.0;
  for (const std::size_t bin : {middle - 1, middle, middle + 1}) {
    weighted += static_cast<double>(bin) * count[bin];
    total += count[bin];
  }
  return weighted / total;
}

/// Share of samples in each whole strip of the w x h top left part of the picture that equal the
/// sample `displacement` further on.
inline Doubles matchFractions(const Image *luma, std::uint64_t w, std::uint64_t h,
                              std::uint64_t displacement) {
  Luma matches(w, h);
  Map sums(1, h / 16);
  Doubles fractions(1, h / 16);
  compareShifted(luma, &matches, static_cast<std::int32_t>(displacement));
  blockSums(&matches, &sums, w, 16);
  std::transform(sums.samples.begin(), sums.samples.end(), fractions.data,
                 [=](std::int32_t count) { return count / static_cast<double>(16 * w); });
  return fractions;
}

inline std::optional<double> composedBlockLoss(const Image *luma) {
  const std::uint64_t across = luma->w / 256, down = luma->h / 256;
  if (across * down == 0)
    return std::nullopt;
  const Map rows = edges(luma, 1, 16), columns = edges(luma, 16, 1);
  const double threshold = 6.0 * (sum(edges(luma)) / static_cast<double>(luma->w * luma->h));
  Map horizontal(across, down), vertical(across, down), products(across, down), runs(luma->w, 1);
  countSeqsH(&rows, &horizontal, 256, 16, 12, threshold);
  countSeqsV(&columns, &vertical, &runs, 16, 256, 12, threshold);
  multiply(&horizontal, &vertical, &products);
  return sum(products) / static_cast<double>(across * down);
}

inline double composedBlur(const Image *luma) {
  const std::uint64_t w = luma->w, h = luma->h, across = w / 16, down = h / 16;
  if (across * down == 0)
    return 0.0;
  const Doubles deviations = deviationsOf(luma, 16);
  Map gx(w, h), gy(w, h), squares(w, h);
  gradient(luma, &gx, &gy);
  multiply(&gx, &gx, &squares);
  const double threshold = sum(squares) / static_cast<double>(luma->w * luma->h) * 16.0;

  double count = 0.0, width = 0.0;
  for (std::uint64_t y = 1; y < down * 16 - 1; ++y)
    for (std::uint64_t x = 1; x < across * 16 - 1; ++x) {
      const std::int32_t *step = gx.data + y * w, *v = squares.data + y * w + x;
      const bool alongRow =
          v[0] > v[1] && v[0] >= v[-1] && std::abs(step[x]) >= std::abs(gy.data[y * w + x]);
      const bool downColumn = v[0] >= *(v - w) && v[0] > v[w];
      if (!(v[0] > threshold) || !(alongRow || downColumn))
        continue;
      // The edge is as wide as the run of steps in its direction around it.
      const int direction = step[x] < 0 || step[x + 1] < 0 ? -1 : 1;
      const double least = deviations.data[y / 16 * across + x / 16] / 1024;
      std::uint64_t left = x, right = x;
      while (right < w - 2 && direction * step[right + 1] > least)
        ++right;
      while (left > 1 && direction * step[left] > least)
        --left;
      ++count;
      width += static_cast<double>(right - left);
    }
  return width != 0.0 ? width / count : 0.0;
}

inline std::optional<double> composedNoise(const Image *luma) {
  const Doubles deviations = deviationsOf(luma, 8);
  const double level = commonDeviation(deviations), sigma = std::round(level);
  if (!(level >= 0.5)) // also a NaN
    return std::nullopt;

  Luma chosen(8000, 8); // blocks side by side
  std::uint32_t n = 0;
  for (std::uint64_t i = 0; i < deviations.samples.size() && n < 1000; ++i) {
    const double deviation = deviations.data[i];
    if ((sigma > level ? std::round(deviation) : std::floor(deviation)) != sigma)
      continue;
    const std::uint64_t corner = i / deviations.w * 8 * luma->w + i % deviations.w * 8;
    for (std::uint64_t y = 0; y < 8; ++y)
      std::copy_n(luma->data + corner + y * luma->w, 8, chosen.data + y * 8000 + n * 8);
    ++n;
  }

  Doubles kernel(3, 3), residual(8000, 8), sums(n, 1), squareSums(n, 1), residualDeviations(n, 1);
  for (int k = 0; k < 9; ++k) {
    const int squaredDistance = k == 4 ? 0 : k % 2 == 1 ? 1 : 2;
    kernel.data[k] =
        std::exp(-squaredDistance / (2 * sigma * sigma)) * (1.0 / (sigma * sigma * 6.28));
  }
  filter(&chosen, &residual, &kernel, n, 8, 8);
  std::transform(chosen.samples.begin(), chosen.samples.end(), residual.data, residual.data,
                 std::minus<double>());
  calculateStdDevsDouble_ommitZeros(&residual, &sums, &squareSums, &residualDeviations, &kernel, 8,
                                    8);
  const std::vector<double> &all = residualDeviations.samples;
  return std::accumulate(all.begin(), all.end(), 0.0) / n;
}

inline std::optional<double> composedSlice(const Image *luma) {
  const std::uint64_t w = luma->w, h = luma->h;
  if (h < 3 * 16 || w <= 16)
    return std::nullopt;
  const Doubles vertical = matchFractions(luma, w, h - 16, 16 * w);
  const Doubles horizontal = matchFractions(luma, w - 16, h, 16);
  Doubles ratios(1, vertical.h);
  divideDouble(&vertical, &horizontal, &ratios);
  // A strip without matches in either direction has no ratio.
  std::erase_if(ratios.samples, [](double ratio) { return std::isnan(ratio); });
  return ratios.samples.empty()
             ? std::nan("")
             : 1.0 / *std::min_element(ratios.samples.begin(), ratios.samples.end());
}

} // namespace lumagauge::test

#endif
