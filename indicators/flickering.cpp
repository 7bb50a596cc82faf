// SPDX-License-Identifier: BSD-2-Clause
//
// Flickering: how often parts of the picture switch between moving and standing still. Per period
// of 8 calls the mean number of switches a frame of the 3 % of 8x8 blocks that switch most: 0
// (none) to 1 (on every frame); without a value between the ends of periods. A picture of fewer
// than 34 blocks has no 3 %: NaN.
#include "indicators/routines.h"
#include "tools/arithmetic.h"
#include "tools/rows.h"
#include "tools/working_picture.h"

#include <algorithm>
#include <array>

namespace lumagauge {

namespace {

constexpr std::int32_t framePeriod = LUMAGAUGE_FLICKERING_PERIOD;
constexpr double TOP_FRACTION = 0.03;

/// The mean of the largest counts a frame. Counts are bytes, so how many there are of each tells
/// the largest ones without sorting them.
double periodValue(const Image *counts) {
  const auto blocks = static_cast<std::uint32_t>(counts->w * counts->h);
  std::array<std::uint32_t, 256> having{}; // blocks with that many switches
  for (std::uint32_t i = 0; i < blocks; ++i)
    ++having[counts->data[i]];
  const auto top = static_cast<std::uint32_t>(blocks * TOP_FRACTION);
  std::uint64_t switches = 0;
  std::uint32_t left = top;
  for (std::size_t count = having.size(); count-- > 0 && left > 0;) {
    const std::uint32_t taken = std::min(left, having[count]);
    switches += std::uint64_t{taken} * count;
    left -= taken;
  }
  return quotient(static_cast<double>(switches),
                  static_cast<double>(std::uint64_t{top} * framePeriod));
}

} // namespace

int compareElements(const void *a, const void *b) {
  return *static_cast<const std::uint8_t *>(b) - *static_cast<const std::uint8_t *>(a);
}

void calculateFlickering(const Image *current, const Image *previous, Image *counts, Image *states,
                         ImageDouble *differences, std::uint32_t side, double threshold) {
  for (std::uint64_t y = 0; y < counts->h * side; ++y)
    for (std::uint64_t bx = 0; bx < counts->w; ++bx) {
      const std::uint64_t start = y * current->w + bx * side;
      differences->data[y / side * counts->w + bx] += static_cast<double>(
          rows().absDifference(current->data + start, previous->data + start, side));
    }
  for (std::uint64_t i = 0; i < counts->w * counts->h; ++i) {
    const double mean = differences->data[i] /= side * side;
    const bool starts = mean >= threshold && states->data[i] == 0;
    const bool stops = mean == 0.0 && states->data[i] == 1;
    if (starts || stops) {
      states->data[i] = starts;
      ++counts->data[i];
    }
  }
}

void findChangedBlocks(const Plane &current, const Plane &previous, std::uint8_t *changed) {
  const std::uint64_t across = current.w / BLOCKSIZE, down = current.h / BLOCKSIZE;
  for (std::uint64_t by = 0; by < down; ++by) {
    const std::uint64_t top = by * BLOCKSIZE * current.w;
    rows().changedBlocks(current.data + top, previous.data + top, current.w, across,
                         changed + by * across);
  }
}

std::optional<double> measureFlickering(FlickeringState &state, const std::uint8_t *changed,
                                        Image *counts, Image *states) {
  // A block starts to change at a mean absolute difference of 0.0111 and stops at exactly 0. The
  // mean of 64 whole differences is 0 or at least 1/64, so both ask the same: does any sample
  // differ?
  const std::uint64_t blocks = counts->w * counts->h;
  std::uint8_t *const count = counts->data, *const before = states->data;
  for (std::uint64_t i = 0; i < blocks; ++i) {
    count[i] = static_cast<std::uint8_t>(count[i] + (changed[i] ^ before[i]));
    before[i] = changed[i];
  }
  if (++state.frameCount != framePeriod)
    return std::nullopt;
  const double value = periodValue(counts);
  state.frameCount = 0;
  std::fill_n(counts->data, blocks, std::uint8_t{0});
  std::fill_n(states->data, blocks, std::uint8_t{0});
  return value;
}

double flickering(const Image *current, const Image *previous, Image *flickerCounts,
                  Image *flickerStates) {
  static FlickeringState state;
  constexpr double BETWEEN_PERIODS = -1.0;
  WorkingImage changed(flickerCounts->w, flickerCounts->h);
  findChangedBlocks(*current, *previous, changed->data);
  return measureFlickering(state, changed->data, flickerCounts, flickerStates)
      .value_or(BETWEEN_PERIODS);
}

} // namespace lumagauge
