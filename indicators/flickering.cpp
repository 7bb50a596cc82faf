// SPDX-License-Identifier: BSD-2-Clause
//
// Flickering: how often parts of the picture switch between moving and standing still. Per period
// of 8 calls the mean number of switches a frame of the 3 % of 8x8 blocks that switch most: 0
// (none) to 1 (on every frame), -1 between the ends of periods. A picture of fewer than 34 blocks
// has no 3 %: NaN.
#include "indicators/indicators.h"
#include "tools/arithmetic.h"
#include "tools/rows.h"
#include "tools/working_picture.h"

#include <algorithm>
#include <cstdlib>

namespace lumagauge {

namespace {

constexpr std::int32_t framePeriod = 8;
constexpr double TOP_FRACTION = 0.03;
constexpr double NO_VALUE = -1.0;

/// The period's value; leaves counts sorted.
double periodValue(Image *counts) {
  const auto blocks = static_cast<std::uint32_t>(counts->w * counts->h);
  std::qsort(counts->data, blocks, 1, compareElements);
  const auto top = static_cast<std::uint32_t>(blocks * TOP_FRACTION);
  std::uint64_t switches = 0;
  for (std::uint32_t i = 0; i < top; ++i)
    switches += counts->data[i];
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

void findChangedBlocks(const Image *current, const Image *previous, Image *changed) {
  for (std::uint64_t by = 0; by < changed->h; ++by) {
    const std::uint64_t top = by * BLOCKSIZE * current->w;
    rows().changedBlocks(current->data + top, previous->data + top, current->w, changed->w,
                         changed->data + by * changed->w);
  }
}

double measureFlickering(FlickeringState &state, const Image *changed, Image *counts,
                         Image *states) {
  // A block starts to change at a mean absolute difference of 0.0111 and stops at exactly 0. The
  // mean of 64 whole differences is 0 or at least 1/64, so both ask the same: does any sample
  // differ?
  const std::uint64_t blocks = changed->w * changed->h;
  for (std::uint64_t i = 0; i < blocks; ++i) {
    counts->data[i] =
        static_cast<std::uint8_t>(counts->data[i] + (changed->data[i] ^ states->data[i]));
    states->data[i] = changed->data[i];
  }
  if (++state.frameCount != framePeriod)
    return NO_VALUE;
  const double value = periodValue(counts);
  state.frameCount = 0;
  std::fill_n(counts->data, blocks, std::uint8_t{0});
  std::fill_n(states->data, blocks, std::uint8_t{0});
  return value;
}

double flickering(const Image *current, const Image *previous, Image *flickerCounts,
                  Image *flickerStates) {
  static FlickeringState state;
  WorkingImage changed(flickerCounts->w, flickerCounts->h);
  findChangedBlocks(current, previous, changed);
  return measureFlickering(state, changed, flickerCounts, flickerStates);
}

} // namespace lumagauge
