// SPDX-License-Identifier: BSD-2-Clause
//
// Slice: in strips 16 rows high, how often samples repeat 16 columns to the right over how often
// they repeat 16 rows below; the largest such ratio of any strip, 0 to infinity. High values mean
// rows smeared sideways, as lost slices are concealed. Without a value for 47 rows or fewer or 16
// columns or fewer; NaN when no strip has a match in either direction.
#include "indicators/indicators.h"
#include "indicators/routine.h"
#include "tools/arithmetic.h"
#include "tools/working_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace lumagauge {

namespace {

constexpr std::uint64_t SLICE_BLOCKSIZE = 16;

/// Share of samples in each whole strip of the w x h top left part of the picture that equal the
/// sample `displacement` further on.
void matchFractions(const Image *luma, std::uint64_t w, std::uint64_t h, std::uint64_t displacement,
                    ImageDouble *fractions) {
  WorkingImage matches(w, h);
  compareShifted(luma, matches, static_cast<std::int32_t>(displacement));
  WorkingImage32 sums(1, fractions->h);
  blockSums(matches, sums, w, SLICE_BLOCKSIZE);
  for (std::uint64_t i = 0; i < fractions->h; ++i)
    fractions->data[i] = sums->data[i] / static_cast<double>(SLICE_BLOCKSIZE * w);
}

} // namespace

int compare_Double_asc(const void *a, const void *b) {
  const double first = *static_cast<const double *>(a), second = *static_cast<const double *>(b);
  return second > first ? -1 : first > second;
}

std::optional<double> measureSlice(const Image *luma) {
  const std::uint64_t w = luma->w, h = luma->h;
  if (h < 3 * SLICE_BLOCKSIZE || w <= SLICE_BLOCKSIZE)
    return std::nullopt;
  const std::uint64_t strips = (h - SLICE_BLOCKSIZE) / SLICE_BLOCKSIZE;
  WorkingImageDouble vertical(1, strips), horizontal(1, h / SLICE_BLOCKSIZE), ratios(1, strips);
  matchFractions(luma, w, h - SLICE_BLOCKSIZE, SLICE_BLOCKSIZE * w, vertical);
  matchFractions(luma, w - SLICE_BLOCKSIZE, h, SLICE_BLOCKSIZE, horizontal);
  divideDouble(vertical, horizontal, ratios);

  // A strip without matches in either direction has no ratio and cannot be ordered among the
  // others.
  double *const end = ratios->data + strips;
  double *const orderedEnd =
      std::remove_if(ratios->data, end, [](double r) { return std::isnan(r); });
  if (orderedEnd == ratios->data)
    return quotient(0.0, 0.0);
  std::qsort(ratios->data, static_cast<std::size_t>(orderedEnd - ratios->data), sizeof(double),
             compare_Double_asc);
  return quotient(1.0, ratios->data[0]);
}

void *slice(void *luma) {
  return runRoutine(luma, [](const Image *picture) {
    if (const std::optional<double> value = measureSlice(picture))
      Results.slice = *value;
  });
}

} // namespace lumagauge
