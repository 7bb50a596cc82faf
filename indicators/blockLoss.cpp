// SPDX-License-Identifier: BSD-2-Clause
//
// Block loss: long straight edges that lie exactly on the 16-sample block grid, as lost blocks show
// them. In every 256x256 region the runs of strong edge samples along the grid's rows times those
// along its columns; the mean over the regions, 0 and up. -1.0 below 256x256 samples.
#include "indicators/indicators.h"
#include "indicators/routine.h"
#include "tools/rows.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

namespace lumagauge {

namespace {

constexpr std::uint64_t GRID_STEP = 16;
constexpr std::uint64_t REGION = 256;
constexpr std::int32_t MINIMUM_RUN = 12;
constexpr double THRESHOLD_FACTOR = 6.0; ///< times the picture's mean squared edge magnitude
constexpr double TOO_SMALL = -1.0;
constexpr std::uint64_t WORDS = REGION / 64; ///< of bits along a region's row

/// The least squared magnitude of a strong edge. Magnitudes are whole, so "above the threshold" is
/// "at least the next whole number". Row 0 and column 0 have no cross and count as zeros in the
/// mean.
std::int32_t leastMagnitude(const Image *luma) {
  const std::uint64_t w = luma->w;
  std::uint64_t energy = 0;
  for (std::uint64_t y = 1; y < luma->h; ++y) {
    const std::uint8_t *row = luma->data + y * w;
    const std::uint8_t *above = row - w;
    energy += rows().squaredDifference(above, row + 1, w - 1); // the cross's falling diagonals
    energy += rows().squaredDifference(above + 1, row, w - 1); // and its rising ones
  }
  const double threshold =
      THRESHOLD_FACTOR * (static_cast<double>(energy) / static_cast<double>(w * luma->h));
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
  for (const int shift : {1, 2, 4, MINIMUM_RUN - 8}) // lengths 2, 4, 8 and the minimum
    for (std::uint64_t i = 0; i < WORDS; ++i)
      starts[i] &= starts[i] >> shift | starts[i + 1] << (64 - shift);
  std::int64_t runs = 0;
  for (std::uint64_t i = 0; i < WORDS; ++i) {
    const std::uint64_t before = starts[i] << 1 | (i == 0 ? 0 : starts[i - 1] >> 63);
    runs += std::popcount(starts[i] & ~before);
  }
  return runs;
}

/// Runs along the row boundaries 16, 32, ... of each region. Boundary 0 is the picture's edge.
void countAlongRows(const Image *luma, std::int32_t least, std::vector<std::int64_t> &counts) {
  const std::uint64_t across = luma->w / REGION, w = across * REGION;
  std::vector<std::uint64_t> strong(w / 64);
  for (std::uint64_t y = GRID_STEP; y < luma->h / REGION * REGION; y += GRID_STEP) {
    const std::uint8_t *row = luma->data + y * luma->w;
    rows().strongCrosses(row - luma->w, row, w, least, strong.data());
    for (std::uint64_t bx = 0; bx < across; ++bx)
      counts[y / REGION * across + bx] += countRuns(strong.data() + bx * WORDS);
  }
}

/// Runs along the column boundaries 16, 32, ... of each region.
void countAlongColumns(const Image *luma, std::int32_t least, std::vector<std::int64_t> &counts) {
  const std::uint64_t across = luma->w / REGION, down = luma->h / REGION;
  const std::uint64_t boundaries = across * (REGION / GRID_STEP);
  std::vector<BoundaryPair> above(boundaries), here(boundaries);
  std::vector<std::int32_t> runs(boundaries), found(boundaries);
  const auto gather = [&](std::uint64_t y, std::vector<BoundaryPair> &pairs) {
    const std::uint8_t *row = luma->data + y * luma->w;
    for (std::uint64_t i = 1; i < boundaries; ++i)
      std::memcpy(&pairs[i], row + GRID_STEP * i - 1, sizeof pairs[i]);
  };
  gather(0, here);
  for (std::uint64_t by = 0; by < down; ++by) {
    std::fill(runs.begin(), runs.end(), 0);
    std::fill(found.begin(), found.end(), 0);
    for (std::uint64_t y = std::max<std::uint64_t>(by * REGION, 1); y < (by + 1) * REGION; ++y) {
      above.swap(here);
      gather(y, here);
      // Boundary 0, the picture's edge, keeps its zeros and is never strong.
      rows().boundaryRuns(above.data(), here.data(), boundaries, least, MINIMUM_RUN, runs.data(),
                          found.data());
    }
    for (std::uint64_t i = 0; i < boundaries; ++i)
      counts[by * across + i * GRID_STEP / REGION] += found[i];
  }
}

} // namespace

double measureBlockLoss(const Image *luma) {
  const std::uint64_t across = luma->w / REGION, down = luma->h / REGION;
  if (across == 0 || down == 0)
    return TOO_SMALL;
  const std::int32_t least = leastMagnitude(luma);
  std::vector<std::int64_t> horizontal(across * down), vertical(across * down);
  countAlongRows(luma, least, horizontal);
  countAlongColumns(luma, least, vertical);
  std::int64_t total = 0;
  for (std::size_t region = 0; region < horizontal.size(); ++region)
    total += horizontal[region] * vertical[region];
  return static_cast<double>(total) / static_cast<double>(across * down);
}

void *blockLoss(void *luma) {
  return runRoutine(luma,
                    [](const Image *picture) { Results.blockLoss = measureBlockLoss(picture); });
}

} // namespace lumagauge
