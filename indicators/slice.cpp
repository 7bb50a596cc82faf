// SPDX-License-Identifier: BSD-2-Clause
//
// Slice: in strips 16 rows high, how often samples repeat 16 columns to the right over how often
// they repeat 16 rows below; the largest such ratio of any strip, 0 to infinity. High values mean
// rows smeared sideways, as lost slices are concealed. Without a value for 47 rows or fewer or 16
// columns or fewer; NaN when no strip has a match in either direction.
#include "indicators/routines.h"
#include "tools/arithmetic.h"
#include "tools/rows.h"

#include <cmath>

namespace lumagauge {

namespace {

constexpr std::uint64_t SLICE_BLOCKSIZE = 16;

/// Share of the samples of a strip's first w columns that equal the sample `displacement` further
/// on.
double matchFraction(const Plane &luma, std::uint64_t strip, std::uint64_t w,
                     std::uint64_t displacement) {
  std::uint64_t matches = 0;
  for (std::uint64_t y = strip * SLICE_BLOCKSIZE; y < (strip + 1) * SLICE_BLOCKSIZE; ++y) {
    const std::uint8_t *row = luma.data + y * luma.w;
    matches += rows().countEqual(row, row + displacement, w);
  }
  return static_cast<double>(matches) / static_cast<double>(SLICE_BLOCKSIZE * w);
}

} // namespace

int compare_Double_asc(const void *a, const void *b) {
  const double first = *static_cast<const double *>(a), second = *static_cast<const double *>(b);
  return second > first ? -1 : first > second;
}

std::optional<double> measureSlice(const Plane &luma) {
  const std::uint64_t w = luma.w, h = luma.h;
  if (h < 3 * SLICE_BLOCKSIZE || w <= SLICE_BLOCKSIZE)
    return std::nullopt;
  const std::uint64_t strips = (h - SLICE_BLOCKSIZE) / SLICE_BLOCKSIZE;
  double smallest = quotient(0.0, 0.0); // none yet
  for (std::uint64_t strip = 0; strip < strips; ++strip) {
    const double vertical = matchFraction(luma, strip, w, SLICE_BLOCKSIZE * w);
    const double horizontal = matchFraction(luma, strip, w - SLICE_BLOCKSIZE, SLICE_BLOCKSIZE);
    const double ratio = quotient(vertical, horizontal);
    // A strip without matches in either direction has no ratio and is left out.
    if (!std::isnan(ratio) && !(smallest <= ratio))
      smallest = ratio;
  }
  return quotient(1.0, smallest);
}

void *slice(void *luma) {
  storeMeasure(luma, measureSlice, &FrameResults::slice);
  return nullptr;
}

} // namespace lumagauge
