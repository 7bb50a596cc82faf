// SPDX-License-Identifier: BSD-2-Clause
//
// Blackout: 1 when the picture is flat, whatever its level: the means of all whole 8x8 blocks lie
// within less than 4 grey levels. 0 for a picture without a whole block.
#include "indicators/routines.h"
#include "tools/rows.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <vector>

namespace lumagauge {

namespace {
constexpr double THRESHOLD_BLACKOUT = 4.0; ///< grey levels between the darkest and brightest block
}

void minmax(const std::int32_t *values, std::uint64_t size, std::int32_t *min, std::int32_t *max) {
  assert(size > 0);
  *min = *max = values[0];
  for (std::uint64_t i = 1; i < size; ++i) {
    if (values[i] < *min)
      *min = values[i];
    else if (values[i] > *max)
      *max = values[i];
  }
}

std::optional<double> measureBlackout(const Plane &luma) {
  const std::uint64_t across = luma.w / BLOCKSIZE, down = luma.h / BLOCKSIZE;
  if (across == 0 || down == 0)
    return 0.0;
  constexpr double SAMPLES = BLOCKSIZE * BLOCKSIZE;
  std::vector<std::uint16_t> sums(across);
  std::uint16_t darkest = std::numeric_limits<std::uint16_t>::max(), brightest = 0;
  // The spread only grows, so the first block row that makes it too wide decides.
  for (std::uint64_t by = 0; by < down; ++by) {
    rows().blockSums(luma.data + by * BLOCKSIZE * luma.w, luma.w, across, sums.data());
    for (const std::uint16_t sum : sums) {
      darkest = std::min(darkest, sum);
      brightest = std::max(brightest, sum);
    }
    if ((brightest - darkest) / SAMPLES >= THRESHOLD_BLACKOUT)
      return 0.0;
  }
  return 1.0;
}

void *blackout(void *luma) {
  storeMeasure(luma, measureBlackout, &FrameResults::blackout);
  return nullptr;
}

} // namespace lumagauge
