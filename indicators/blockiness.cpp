// SPDX-License-Identifier: BSD-2-Clause
//
// Blockiness: how visible the 8x8 grid of a block-based coder is. The differences just inside the
// grid borders over those across them, 0 to infinity: near 1 the borders are no sharper than the
// picture, and the smaller the value, the more the grid stands out. Exactly 1.0 when there is
// nothing to compare: a flat picture, or one narrower and lower than 16 samples.
#include "indicators/routines.h"
#include "tools/arithmetic.h"
#include "tools/rows.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace lumagauge {

namespace {

/// Totals over the border lines of both directions. Line k of a direction's K enters K - k + 1
/// times, because each line adds the running sum so far: the indicator's definition weighs lines
/// so.
struct BorderTotals {
  std::uint64_t inside = 0;
  std::uint64_t border = 0;
};

/// Number of lines 8, 16, ... that have a whole block on either side.
std::size_t borderLines(std::uint64_t size) {
  return size < 16 ? 0 : size / BLOCKSIZE - 1;
}

void addBordersBetweenRows(const Plane &luma, BorderTotals &totals) {
  const std::size_t lines = borderLines(luma.h);
  for (std::size_t line = 0; line < lines; ++line) {
    const std::uint8_t *below = luma.data + BLOCKSIZE * (line + 1) * luma.w;
    const std::uint8_t *last = below - luma.w;
    totals.inside += (lines - line) * rows().absDifference(last, last - luma.w, luma.w);
    totals.border += (lines - line) * rows().absDifference(last, below, luma.w);
  }
}

void addBordersBetweenColumns(const Plane &luma, BorderTotals &totals) {
  const std::size_t lines = borderLines(luma.w);
  // Differences of at most 255 add up in 32 bits over this many rows.
  constexpr std::uint64_t ROWS = 1 << 24;
  constexpr std::uint64_t BAND = 16; // rows that stay in the first-level cache
  std::vector<BorderSums> sums(lines);
  for (std::uint64_t start = 0; lines != 0 && start < luma.h; start += ROWS) {
    std::fill(sums.begin(), sums.end(), BorderSums{});
    const std::uint64_t end = std::min(start + ROWS, luma.h);
    for (std::uint64_t y = start; y < end; y += BAND)
      rows().columnBorders(luma.data + y * luma.w, luma.w, std::min(BAND, end - y), lines,
                           sums.data());
    for (std::size_t line = 0; line < lines; ++line) {
      totals.inside += (lines - line) * sums[line].inside;
      totals.border += (lines - line) * sums[line].border;
    }
  }
}

} // namespace

std::optional<double> measureBlockiness(const Plane &luma) {
  BorderTotals totals;
  addBordersBetweenRows(luma, totals);
  addBordersBetweenColumns(luma, totals);
  const double ratio =
      quotient(static_cast<double>(totals.inside), static_cast<double>(totals.border));
  return std::isnan(ratio) ? 1.0 : ratio;
}

void *blockiness(void *luma) {
  storeMeasure(luma, measureBlockiness, &FrameResults::blockiness);
  return nullptr;
}

/// Opinion score of a blockiness value, 0 and up.
double blockToMOS(double blockiness) {
  return std::max(0.0, (17.86 * blockiness - 10.38) * 0.5);
}

} // namespace lumagauge
