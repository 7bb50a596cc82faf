// SPDX-License-Identifier: BSD-2-Clause
//
// Letterbox: how far bars without horizontal detail reach in from the top and bottom together, as a
// share of half the height: 0 (none) to 1 (every row uniform). A bar may have any level. The middle
// row of an odd height takes no part; NaN for a picture of one row.
#include "indicators/routines.h"
#include "tools/arithmetic.h"
#include "tools/rows.h"

namespace lumagauge {

namespace {

bool isUniform(const std::uint8_t *row, std::uint32_t w) {
  return w < 2 || rows().firstDifference(row, row + 1, w - 1) == w - 1;
}

} // namespace

bool checkLetterBar(const std::uint8_t *data, std::uint32_t w, std::uint32_t h, std::uint32_t row) {
  return isUniform(data + std::uint64_t{row} * w, w) &&
         isUniform(data + std::uint64_t{h - 1 - row} * w, w);
}

std::optional<double> measureLetterbox(const Plane &luma) {
  const auto w = static_cast<std::uint32_t>(luma.w), h = static_cast<std::uint32_t>(luma.h);
  std::uint32_t bars = 0;
  while (bars < h / 2 && checkLetterBar(luma.data, w, h, bars))
    ++bars;
  return quotient(bars, h / 2);
}

void *letterbox(void *luma) {
  storeMeasure(luma, measureLetterbox, &FrameResults::letterbox);
  return nullptr;
}

} // namespace lumagauge
