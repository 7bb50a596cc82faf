// SPDX-License-Identifier: BSD-2-Clause
//
// Blackout: 1 when the picture is flat, whatever its level: the means of all whole 8x8 blocks lie
// within less than 4 grey levels. 0 for a picture without a whole block.
#include "indicators/indicators.h"
#include "indicators/routine.h"
#include "tools/working_picture.h"

#include <cassert>

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

bool measureBlackout(const Image *luma) {
  WorkingImage32 sums(luma->w / BLOCKSIZE, luma->h / BLOCKSIZE);
  const std::uint64_t blocks = sums->w * sums->h;
  if (blocks == 0)
    return false;
  blockSums(luma, sums, BLOCKSIZE, BLOCKSIZE);
  std::int32_t darkest = 0, brightest = 0;
  minmax(sums->data, blocks, &darkest, &brightest);
  const std::int32_t range = brightest - darkest;
  return range / static_cast<double>(BLOCKSIZE * BLOCKSIZE) < THRESHOLD_BLACKOUT;
}

void *blackout(void *luma) {
  return runRoutine(luma,
                    [](const Image *picture) { Results.blackout = measureBlackout(picture); });
}

} // namespace lumagauge
