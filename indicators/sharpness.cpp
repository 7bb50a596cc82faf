// SPDX-License-Identifier: BSD-2-Clause
//
// Sharpness: how fast differences along the rows change, over how large they are: the energy of the
// second differences over that of the first. 0 (gradual) to 4 (columns alternate); about 2 for hard
// edges, 3 for noise, 1 / (2 s^2) for edges that a Gaussian of s samples blurred. Less is softer.
// Every fourth row is looked at. Without a value where these have no differences, or of fewer than
// 3 columns.
#include "indicators/indicators.h"
#include "tools/rows.h"

namespace lumagauge {

namespace {
constexpr std::uint64_t ROW_STEP = 4; ///< rows are alike enough that more tell nothing new
}

std::optional<double> measureSharpness(const Plane &luma) {
  if (luma.w < 3)
    return std::nullopt;
  // With d the first differences, those of samples two apart are d[x] + d[x+1], and
  // (d[x+1] - d[x])^2 = 2 d[x]^2 + 2 d[x+1]^2 - (d[x] + d[x+1])^2.
  std::uint64_t first = 0, second = 0;
  for (std::uint64_t y = 0; y < luma.h; y += ROW_STEP) {
    const std::uint8_t *row = luma.data + y * luma.w;
    const std::uint64_t all = rows().squaredDifference(row, row + 1, luma.w - 1);
    const auto square = [&](std::uint64_t x) {
      const int d = row[x + 1] - row[x];
      return static_cast<std::uint64_t>(d * d);
    };
    first += all;
    second += 4 * all - 2 * (square(0) + square(luma.w - 2)) -
              rows().squaredDifference(row, row + 2, luma.w - 2);
  }
  if (first == 0)
    return std::nullopt;
  return static_cast<double>(second) / static_cast<double>(first);
}

} // namespace lumagauge
