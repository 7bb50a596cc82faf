// SPDX-License-Identifier: BSD-2-Clause
//
// Blur: mean width in samples of the strong edges along the rows, 0 and up; a sharp edge has width
// 1, a soft one spreads over many samples. 0.0 when there is no such edge, and below 16x16 samples.
// In the line of edge-width measures: Marziliano, Dufaux, Winkler, Ebrahimi, "A no-reference
// perceptual blur metric", 2002.
#include "indicators/routines.h"
#include "tools/rows.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace lumagauge {

namespace {

constexpr std::uint64_t BLUR_BLOCKSIZE = 16;
constexpr double EDGE_FACTOR = 16.0; ///< times the mean squared horizontal difference

/// The least absolute horizontal difference of an edge: the first whose square is above the
/// threshold; 256 when there is none. The differences of row 0 and column 0 count as zeros in the
/// mean.
std::uint32_t leastDifference(const Plane &luma) {
  // All rows but row 0 in one go, less what is between a row's end and the next one's start.
  const std::uint64_t w = luma.w;
  const std::uint8_t *first = luma.data + w;
  std::uint64_t energy = rows().squaredDifference(first + 1, first, w * (luma.h - 1) - 1);
  for (const std::uint8_t *row = first + w; row < luma.data + w * luma.h; row += w)
    energy -= static_cast<std::uint64_t>((row[0] - row[-1]) * (row[0] - row[-1]));
  const double area = static_cast<double>(w) * static_cast<double>(luma.h);
  const double threshold = static_cast<double>(energy) / area * EDGE_FACTOR;
  std::uint32_t least = 1;
  while (least < 256 && !(least * least > threshold))
    ++least;
  return least;
}

} // namespace

std::optional<double> measureBlur(const Plane &luma) {
  const std::uint64_t w = luma.w, h = luma.h;
  if (w < BLUR_BLOCKSIZE || h < BLUR_BLOCKSIZE)
    return 0.0;
  const std::uint32_t least = leastDifference(luma);
  if (least > 255)
    return 0.0;

  // Edges are sought in the whole blocks, less the outermost rows and columns.
  const std::uint64_t columns = w / BLUR_BLOCKSIZE * BLUR_BLOCKSIZE;
  const std::uint64_t lines = h / BLUR_BLOCKSIZE * BLUR_BLOCKSIZE;
  const std::vector<std::uint8_t> flat(w + 2); // row 0 counts as one without gradients
  std::vector<std::uint64_t> edges((w + 63) / 64);
  std::uint64_t count = 0, width = 0;
  for (std::uint64_t y = 1; y < lines - 1; ++y) {
    const std::uint8_t *row = luma.data + y * w;
    const std::uint8_t *upper = y == 1 ? flat.data() + 2 : row - w;
    const std::size_t found = rows().edgeColumns(upper, row - w, row, row + w, columns,
                                                 static_cast<std::uint8_t>(least), edges.data());
    // A block's threshold for steps is its deviation / 1024, which stays below 0.125: every step of
    // at least 1 exceeds it, whatever the block. So the row alone decides on widths.
    if (found != 0)
      width += rows().edgeWidths(row, w, edges.data());
    count += found;
  }
  return width != 0 ? static_cast<double>(width) / static_cast<double>(count) : 0.0;
}

void *blur(void *luma) {
  storeMeasure(luma, measureBlur, &FrameResults::blur);
  return nullptr;
}

/// Opinion score of a blur value, 0 to 5.
double blurToMOS(double blur) {
  const double e = std::exp(-1.5 * blur + 2.87);
  return std::max(0.0, 5.0 * std::pow(e / (e + 1.0), 0.14));
}

} // namespace lumagauge
