// SPDX-License-Identifier: BSD-2-Clause
//
// Bars: how many rows at the top and bottom and how many columns at the left and right are black
// instead of picture, each side for itself. 0 where the picture reaches its edge; without a value
// where the edge is black but the picture does not begin along a straight line, so that a bar
// cannot be told from a dark scene. Bars of fewer than 4 rows or columns are not seen.
#include "indicators/indicators.h"
#include "tools/rows.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace lumagauge {

namespace {

constexpr std::uint64_t LEAST_SIZE = 32; ///< of a picture
/// Lines (rows or columns) at an edge by which the black is known: the narrowest bar.
constexpr std::uint64_t EDGE_LINES = 4;
/// Lines of other content that may lie outside the bar at the top: test signals and captions of
/// analog video.
constexpr std::uint64_t TEST_LINES = 8;
/// Twice the black of limited range and some; what is brighter on average is no bar.
constexpr double BRIGHTEST_BAR = 40.0;
/// Standard deviation of noise that a bar may have.
constexpr double NOISIEST_BAR = 8.0;
/// What exceeds the black by more than coding leaves behind and noise reaches is picture.
constexpr double LEAST_STEP = 8.0, NOISE_STEP = 5.0;
/// A bar is as black where it ends, less a soft edge, as where it begins; a dark scene is shaded.
constexpr double MOST_SHADING = 2.0;
constexpr std::uint64_t SOFT_LINES = 2;
/// A bar ends where the picture begins in a quarter of the places along it, within so many lines
/// from where it began in a twentieth (specks, and what noise leaves, are fewer).
constexpr std::uint64_t FEW = 20, MANY = 4, STRAIGHT_LINES = 4;

/// The level above which a sample is picture, given the samples at an edge; empty where they are no
/// bar's.
std::optional<std::uint8_t> pictureLevel(const Moments &edge, std::uint64_t samples) {
  const auto n = static_cast<double>(samples);
  const double mean = static_cast<double>(edge.sum) / n;
  const double deviation =
      std::sqrt(std::max(0.0, static_cast<double>(edge.squares) / n - mean * mean));
  if (mean > BRIGHTEST_BAR || deviation > NOISIEST_BAR)
    return std::nullopt;
  return static_cast<std::uint8_t>(mean + std::max(LEAST_STEP, NOISE_STEP * deviation));
}

/// Finds the end of a bar from how many of the places along it have met picture by each line.
class BarEnd {
public:
  explicit BarEnd(std::uint64_t placesAlong) : places(placesAlong) {}
  /// Takes the next line; true when it decides.
  bool add(std::uint64_t line, std::uint64_t begun) {
    if (!hasBegun && begun * FEW > places) {
      hasBegun = true;
      first = line;
    }
    isStraight = hasBegun && line - first < STRAIGHT_LINES;
    return begun * MANY >= places;
  }
  std::optional<std::uint64_t> width() const {
    return isStraight ? std::optional(first) : std::nullopt;
  }

private:
  std::uint64_t places;
  std::uint64_t first = 0; ///< line, once picture has begun in a few places
  bool hasBegun = false, isStraight = false;
};

/// The width of a bar that has ended, if it is one: sumOfLines(i) is that of EDGE_LINES lines from
/// the i-th on, the bar begins at `start`.
template <class SumOfLines>
std::optional<double> barUntil(const BarEnd &end, std::uint64_t start, double samples,
                               SumOfLines sumOfLines) {
  const std::optional<std::uint64_t> width = end.width();
  if (!width)
    return std::nullopt;
  const std::uint64_t last =
      start + EDGE_LINES + SOFT_LINES < *width ? *width - SOFT_LINES - EDGE_LINES : start;
  const double shading = static_cast<double>(sumOfLines(last).sum) / samples -
                         static_cast<double>(sumOfLines(start).sum) / samples;
  return std::abs(shading) <= MOST_SHADING ? std::optional(static_cast<double>(*width))
                                           : std::nullopt;
}

/// From the top, or from the bottom upwards.
std::optional<double> barOfRows(const Plane &luma, bool fromTop) {
  const std::uint64_t w = luma.w, h = luma.h, samples = EDGE_LINES * w;
  const auto rowAt = [&](std::uint64_t line) {
    return luma.data + (fromTop ? line : h - 1 - line) * w;
  };
  const auto sumOfLines = [&](std::uint64_t line) {
    return rows().moments(rowAt(fromTop ? line : line + EDGE_LINES - 1), samples);
  };
  std::uint64_t start = 0;
  std::optional<std::uint8_t> level = pictureLevel(sumOfLines(start), samples);
  while (fromTop && !level && start < TEST_LINES)
    level = pictureLevel(sumOfLines(++start), samples);
  if (!level)
    return 0.0;
  std::vector<std::uint8_t> begun(w);
  BarEnd end(w);
  for (std::uint64_t line = start; line < h; ++line)
    if (end.add(line, rows().markAbove(rowAt(line), w, *level, begun.data())))
      return barUntil(end, start, static_cast<double>(samples), sumOfLines);
  return std::nullopt;
}

/// From the left, or from the right leftwards, by rows first..last-1.
std::optional<double> barOfColumns(const Plane &luma, bool fromLeft, std::uint64_t firstRow,
                                   std::uint64_t endRow) {
  const std::uint64_t w = luma.w, places = endRow - firstRow;
  const std::uint64_t samples = EDGE_LINES * places;
  const auto sumOfLines = [&](std::uint64_t line) {
    const std::uint8_t *column = luma.data + (fromLeft ? line : w - EDGE_LINES - line);
    Moments sum{0, 0};
    for (std::uint64_t y = firstRow; y < endRow; ++y)
      for (std::uint64_t x = 0; x < EDGE_LINES; ++x) {
        const std::uint8_t sample = column[y * w + x];
        sum.sum += sample;
        sum.squares += std::uint64_t{sample} * sample;
      }
    return sum;
  };
  const std::optional<std::uint8_t> level = pictureLevel(sumOfLines(0), samples);
  if (!level)
    return 0.0;
  std::vector<std::uint64_t> beginning(w + 1); // rows whose picture begins there
  const auto darkEnd = fromLeft ? rows().darkStart : rows().darkEnd;
  for (std::uint64_t y = firstRow; y < endRow; ++y)
    ++beginning[darkEnd(luma.data + y * w, w, *level)];
  BarEnd end(places);
  std::uint64_t begun = 0;
  for (std::uint64_t line = 0; line < w; ++line)
    if (end.add(line, begun += beginning[line]))
      return barUntil(end, 0, static_cast<double>(samples), sumOfLines);
  return std::nullopt;
}

} // namespace

Bars measureBars(const Plane &luma) {
  Bars bars;
  if (luma.w < LEAST_SIZE || luma.h < LEAST_SIZE)
    return bars;
  bars.top = barOfRows(luma, true);
  bars.bottom = barOfRows(luma, false);
  // Rows of bars would show columns that are black, but not where the picture begins.
  const auto firstRow = static_cast<std::uint64_t>(bars.top.value_or(0.0));
  const auto endRow = luma.h - static_cast<std::uint64_t>(bars.bottom.value_or(0.0));
  bars.left = barOfColumns(luma, true, firstRow, endRow);
  bars.right = barOfColumns(luma, false, firstRow, endRow);
  return bars;
}

} // namespace lumagauge
