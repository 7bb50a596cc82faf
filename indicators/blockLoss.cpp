// SPDX-License-Identifier: BSD-2-Clause
//
// Block loss: long straight edges that lie exactly on the 16-sample block grid, as lost blocks show
// them. In every 256x256 region the runs of strong edge samples along the grid's rows times those
// along its columns; the mean over the regions, 0 and up. Without a value below 256x256 samples.
#include "indicators/routines.h"
#include "tools/rows.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <vector>

namespace lumagauge {

namespace {

constexpr std::uint64_t GRID_STEP = 16;
constexpr std::uint64_t REGION = 256;
constexpr std::uint64_t MINIMUM_RUN = 12;
constexpr double THRESHOLD_FACTOR = 6.0;     ///< times the picture's mean squared edge magnitude
constexpr std::uint64_t WORDS = REGION / 64; ///< of bits along a region's row

/// The least squared magnitude of a strong edge. Magnitudes are whole, so "above the threshold" is
/// "at least the next whole number". Row 0 and column 0 have no cross and count as zeros in the
/// mean.
std::int32_t leastMagnitude(const Plane &luma) {
  constexpr std::uint64_t BAND = 32; // rows that stay in a near cache
  std::uint64_t energy = 0;
  for (std::uint64_t y = 0; y + 1 < luma.h; y += BAND)
    energy +=
        rows().crossEnergy(luma.data + y * luma.w, luma.w, std::min(BAND + 1, luma.h - y), luma.w);
  const double threshold =
      THRESHOLD_FACTOR * (static_cast<double>(energy) / static_cast<double>(luma.w * luma.h));
  return static_cast<std::int32_t>(std::floor(threshold)) + 1;
}

/// Number of runs of at least MINIMUM_RUN set bits in a region's row.
std::int64_t countRuns(const std::uint64_t *bits) {
  if (std::all_of(bits, bits + WORDS, [](std::uint64_t word) { return word == 0; }))
    return 0;
  // A bit set in `starts` has MINIMUM_RUN set bits from it upwards; each run has one first such
  // bit.
  std::array<std::uint64_t, WORDS + 1> starts{};
  std::copy_n(bits, WORDS, starts.begin());
  static_assert(MINIMUM_RUN > 8 && MINIMUM_RUN <= 16);
  constexpr std::uint64_t SHIFTS[] = {1, 2, 4, MINIMUM_RUN - 8}; // to lengths 2, 4, 8, the minimum
  for (const std::uint64_t shift : SHIFTS)
    for (std::uint64_t i = 0; i < WORDS; ++i)
      starts[i] &= starts[i] >> shift | starts[i + 1] << (64 - shift);
  std::int64_t runs = 0;
  for (std::uint64_t i = 0; i < WORDS; ++i) {
    const std::uint64_t before = starts[i] << 1 | (i == 0 ? 0 : starts[i - 1] >> 63);
    runs += std::popcount(starts[i] & ~before);
  }
  return runs;
}

/// Runs along the row boundaries 0, 16, 32, ... of each region. The first is the picture's edge and
/// has none.
std::vector<std::int64_t> countAlongRows(const Plane &luma, std::int32_t least) {
  const std::uint64_t across = luma.w / REGION, down = luma.h / REGION, w = across * REGION;
  std::vector<std::int64_t> counts(across * down);
  std::vector<std::uint64_t> strong(w / 64);
  for (std::uint64_t y = GRID_STEP; y < down * REGION; y += GRID_STEP) {
    const std::uint8_t *row = luma.data + y * luma.w;
    rows().strongCrosses(row - luma.w, row, w, least, strong.data());
    for (std::uint64_t bx = 0; bx < across; ++bx)
      counts[y / REGION * across + bx] += countRuns(strong.data() + bx * WORDS);
  }
  return counts;
}

/// Whether the Roberts cross of column x and row y is strong.
bool isStrong(const Plane &luma, std::uint64_t x, std::uint64_t y, std::int32_t least) {
  const std::uint8_t *sample = luma.data + y * luma.w + x;
  const std::uint8_t *above = sample - luma.w;
  const std::int32_t dx = above[-1] - sample[0], dy = above[0] - sample[-1];
  return dx * dx + dy * dy >= least;
}

/// Number of runs of at least MINIMUM_RUN strong rows along the boundary left of column x, within
/// rows first..end-1.
std::int64_t countRunsDown(const Plane &luma, std::uint64_t x, std::uint64_t first,
                           std::uint64_t end, std::int32_t least) {
  std::int64_t runs = 0;
  // Whatever run starts at `first` or later has the row looked at, or starts behind it.
  for (std::uint64_t y; (y = first + MINIMUM_RUN - 1) < end;) {
    std::uint64_t stop = y;
    if (isStrong(luma, x, y, least)) {
      std::uint64_t start = y;
      while (start > first && isStrong(luma, x, start - 1, least))
        --start;
      do
        ++stop;
      while (stop < end && isStrong(luma, x, stop, least));
      runs += stop - start >= MINIMUM_RUN;
    }
    first = stop + 1;
  }
  return runs;
}

/// Runs along the column boundaries 0, 16, ... of one region, less the picture's edges.
std::int64_t countAlongColumns(const Plane &luma, std::uint64_t bx, std::uint64_t by,
                               std::int32_t least) {
  std::int64_t runs = 0;
  for (std::uint64_t x = std::max(bx * REGION, GRID_STEP); x < (bx + 1) * REGION; x += GRID_STEP)
    runs +=
        countRunsDown(luma, x, std::max<std::uint64_t>(by * REGION, 1), (by + 1) * REGION, least);
  return runs;
}

} // namespace

std::optional<double> measureBlockLoss(const Plane &luma) {
  const std::uint64_t across = luma.w / REGION, down = luma.h / REGION;
  if (across == 0 || down == 0)
    return std::nullopt;
  const std::int32_t least = leastMagnitude(luma);
  const std::vector<std::int64_t> alongRows = countAlongRows(luma, least);
  std::int64_t total = 0;
  for (std::uint64_t region = 0; region < alongRows.size(); ++region)
    if (alongRows[region] != 0) // or the product is 0 anyway
      total += alongRows[region] * countAlongColumns(luma, region % across, region / across, least);
  return static_cast<double>(total) / static_cast<double>(across * down);
}

void *blockLoss(void *luma) {
  storeMeasure(luma, measureBlockLoss, &FrameResults::blockLoss, -1.0);
  return nullptr;
}

} // namespace lumagauge
