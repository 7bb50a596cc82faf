// SPDX-License-Identifier: BSD-2-Clause
//
// Pillarbox: how far in from the left edge neighbouring columns stay identical, as a share of half
// the width: 0 (not at all) to 1. The right edge is not looked at, nor the middle row of an odd
// height; a picture lower than two rows gives 1.0, one column gives NaN.
#include "indicators/routines.h"
#include "tools/arithmetic.h"
#include "tools/rows.h"

namespace lumagauge {

bool checkPillarBar(const std::uint8_t *data, std::uint32_t w, std::uint32_t h,
                    std::uint32_t column) {
  for (std::uint64_t y = 0; y < h; ++y) {
    const std::uint8_t *sample = data + y * w + column;
    if (sample[0] != sample[1] && !(h % 2 == 1 && y == h / 2))
      return false;
  }
  return true;
}

std::optional<double> measurePillarbox(const Plane &luma) {
  const auto w = static_cast<std::uint32_t>(luma.w), h = static_cast<std::uint32_t>(luma.h);
  // The columns that match are those before the leftmost mismatch of any row, so one pass over the
  // rows finds them, reading ever less of each.
  std::size_t bars = w / 2;
  for (std::uint64_t y = 0; y < h && bars != 0; ++y) {
    if (h % 2 == 1 && y == h / 2)
      continue;
    const std::uint8_t *row = luma.data + y * w;
    bars = rows().firstDifference(row, row + 1, bars);
  }
  return quotient(static_cast<double>(bars), w / 2);
}

void *pillarbox(void *luma) {
  storeMeasure(luma, measurePillarbox, &FrameResults::pillarbox);
  return nullptr;
}

} // namespace lumagauge
