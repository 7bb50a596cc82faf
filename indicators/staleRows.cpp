// SPDX-License-Identifier: BSD-2-Clause
//
// Stale rows: the share of the rows of 16x16 blocks that went back to what they showed two to six
// pictures ago while the rest of the picture went on, 0 to 1: what a decoder that took the wrong
// picture for lost rows shows, there and, where the right content returns, on the picture behind.
// More is worse. 0 where more than half of the rows go back, which is flicker or a flash, and where
// fewer than a quarter of a row's blocks changed. Without a value for a first frame and for a
// picture without a whole block.
#include "indicators/indicators.h"
#include "tools/rows.h"

#include <algorithm>
#include <numeric>

namespace lumagauge {

namespace {

constexpr std::uint64_t ROW_HEIGHT = 16;
/// Pictures that decoders keep at hand, mostly.
constexpr std::size_t MOST_EARLIER = 6;
/// Change of the sum of 64 samples from which on a block moved: a level of its mean.
constexpr std::int16_t LEAST_CHANGE = 64;
/// Of a row's blocks so many must have moved, and of these so many have gone back: three quarters.
constexpr std::uint32_t MOVED_PART = 4, BACK_OF_FOUR = 3;

std::int16_t distance(std::int16_t a, std::int16_t b) {
  const auto difference = static_cast<std::int16_t>(a - b); // of sums up to 64 * 255
  return std::max(difference, static_cast<std::int16_t>(-difference));
}

/// How many of n blocks moved since the picture before and are less than half as far from an
/// earlier one.
std::uint32_t countBack(const std::int16_t *now, const std::int16_t *before,
                        const std::int16_t *earlier, std::size_t n) {
  std::uint32_t count = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const std::int16_t change = distance(now[i], before[i]);
    const auto twice = static_cast<std::int16_t>(2 * distance(now[i], earlier[i]));
    count += (change >= LEAST_CHANGE) & (twice < change);
  }
  return count;
}

std::uint32_t countMoved(const std::int16_t *now, const std::int16_t *before, std::size_t n) {
  std::uint32_t count = 0;
  for (std::size_t i = 0; i < n; ++i)
    count += distance(now[i], before[i]) >= LEAST_CHANGE;
  return count;
}

} // namespace

void sumRowBlocks(const Plane &luma, std::vector<std::int16_t> &sums) {
  const std::uint64_t across = luma.w / BLOCKSIZE, down = luma.h / ROW_HEIGHT;
  std::vector<std::uint16_t> row(across);
  sums.resize(across * down);
  for (std::uint64_t by = 0; by < down && across != 0; ++by) {
    rows().blockSums(luma.data + by * ROW_HEIGHT * luma.w, luma.w, across, row.data());
    std::copy(row.begin(), row.end(), sums.begin() + static_cast<std::ptrdiff_t>(by * across));
  }
}

std::optional<double> measureStaleRows(StaleRowsState &state, const std::vector<std::int16_t> &sums,
                                       std::uint64_t across, bool hasPrevious) {
  std::deque<std::vector<std::int16_t>> &earlier = state.earlier;
  const std::size_t down = across == 0 ? 0 : sums.size() / across;
  std::uint32_t stale = 0;
  for (std::size_t by = 0; hasPrevious && by < down && !earlier.empty(); ++by) {
    const std::size_t at = by * across;
    const std::int16_t *now = &sums[at], *before = &earlier.front()[at];
    const std::uint32_t moved = countMoved(now, before, across);
    if (moved * MOVED_PART < across)
      continue;
    stale += std::any_of(earlier.begin() + 1, earlier.end(), [&](const auto &picture) {
      return 4 * countBack(now, before, &picture[at], across) >= BACK_OF_FOUR * moved;
    });
  }
  std::vector<std::int16_t> kept; // in the memory of those that are forgotten
  if (earlier.size() == MOST_EARLIER) {
    kept = std::move(earlier.back());
    earlier.pop_back();
  }
  kept = sums;
  earlier.push_front(std::move(kept));
  if (!hasPrevious || down == 0)
    return std::nullopt;
  return 2 * stale > down ? 0.0 : static_cast<double>(stale) / static_cast<double>(down);
}

} // namespace lumagauge
