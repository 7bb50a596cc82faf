// SPDX-License-Identifier: BSD-2-Clause
//
// Interlace: the share of 4x4 blocks that show a comb, as two fields of different moments do: 0
// (none) to 1 (all). NaN for a picture without a whole block.
#include "indicators/routines.h"
#include "tools/arithmetic.h"
#include "tools/rows.h"

namespace lumagauge {

namespace {
constexpr std::uint64_t INTERLACE_BLOCKSIZE = 4;
}

std::optional<double> measureInterlace(const Plane &luma) {
  const std::uint64_t across = luma.w / INTERLACE_BLOCKSIZE, down = luma.h / INTERLACE_BLOCKSIZE;
  std::uint64_t combs = 0;
  for (std::uint64_t by = 0; by < down; ++by)
    combs += rows().combBlocks(luma.data + by * INTERLACE_BLOCKSIZE * luma.w, luma.w, across);
  return quotient(static_cast<double>(combs), static_cast<double>(across * down));
}

void *interlace(void *luma) {
  storeMeasure(luma, measureInterlace, &FrameResults::interlace);
  return nullptr;
}

} // namespace lumagauge
