// SPDX-License-Identifier: BSD-2-Clause
//
// Scene change: how little the coarse layout of the picture has to do with that of the one before:
// 1 - r of Pearson's correlation between the mean luma of their cells, 16 across and 9 down. 0: the
// same layout, however much brighter, flatter, softer or noisier; about 1: another scene; up to 2:
// the reverse. Without a value below 128x72 samples and where either picture is uniform.
#include "indicators/indicators.h"
#include "tools/rows.h"

#include <array>
#include <cmath>
#include <numeric>
#include <vector>

namespace lumagauge {

namespace {

constexpr std::uint64_t CELLS_ACROSS = 16, CELLS_DOWN = 9;
/// Rows of blocks looked at in a cell: more tell the same.
constexpr std::uint64_t ROWS_A_CELL = 4;
/// Root mean square deviation of the cells, in luma levels, below which a layout is noise.
constexpr double LEAST_DEVIATION = 1.0;

using Cells = std::array<double, CELLS_ACROSS * CELLS_DOWN>;

/// Deviations of the cells' mean luma from the mean of all cells.
Cells layout(const Plane &luma) {
  const std::uint64_t across = luma.w / BLOCKSIZE, down = luma.h / BLOCKSIZE;
  std::vector<std::uint16_t> sums(across);
  Cells cells{};
  double total = 0.0;
  // Block i belongs to cell floor(i * CELLS_ACROSS / across).
  const auto edge = [&](std::uint64_t cx) {
    return (cx * across + CELLS_ACROSS - 1) / CELLS_ACROSS;
  };
  for (std::uint64_t cy = 0; cy < CELLS_DOWN; ++cy) {
    const std::uint64_t top = cy * down / CELLS_DOWN, bottom = (cy + 1) * down / CELLS_DOWN;
    const std::uint64_t step = (bottom - top + ROWS_A_CELL - 1) / ROWS_A_CELL;
    std::array<std::uint64_t, CELLS_ACROSS> cellSums{}, blocks{};
    for (std::uint64_t by = top; by < bottom; by += step) {
      rows().blockSums(luma.data + by * BLOCKSIZE * luma.w, luma.w, across, sums.data());
      for (std::uint64_t cx = 0; cx < CELLS_ACROSS; ++cx) {
        const std::uint16_t *first = sums.data() + edge(cx), *end = sums.data() + edge(cx + 1);
        cellSums[cx] += std::accumulate(first, end, std::uint32_t{0});
        blocks[cx] += static_cast<std::uint64_t>(end - first);
      }
    }
    for (std::uint64_t cx = 0; cx < CELLS_ACROSS; ++cx) {
      const auto samples = static_cast<double>(blocks[cx] * BLOCKSIZE * BLOCKSIZE);
      total += cells[cy * CELLS_ACROSS + cx] = static_cast<double>(cellSums[cx]) / samples;
    }
  }
  for (double &cell : cells)
    cell -= total / static_cast<double>(cells.size());
  return cells;
}

double product(const Cells &a, const Cells &b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i)
    sum += a[i] * b[i];
  return sum / static_cast<double>(a.size());
}

} // namespace

std::optional<double> measureSceneChange(const Plane &current, const Plane &previous) {
  if (current.w < CELLS_ACROSS * BLOCKSIZE || current.h < CELLS_DOWN * BLOCKSIZE)
    return std::nullopt;
  const Cells now = layout(current), before = layout(previous);
  const double deviationNow = std::sqrt(product(now, now)),
               deviationBefore = std::sqrt(product(before, before));
  if (deviationNow < LEAST_DEVIATION || deviationBefore < LEAST_DEVIATION)
    return std::nullopt;
  return 1.0 - product(now, before) / (deviationNow * deviationBefore);
}

} // namespace lumagauge
