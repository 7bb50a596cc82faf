// SPDX-License-Identifier: BSD-2-Clause
//
// Block loss: long straight edges that lie exactly on the 16-sample block grid, as lost blocks show
// them. In every 256x256 region the runs of strong edge samples along the grid's rows times those
// along its columns; the mean over the regions, 0 and up. -1.0 below 256x256 samples.
#include "indicators/indicators.h"
#include "indicators/routine.h"
#include "tools/working_picture.h"

namespace lumagauge {

namespace {
constexpr std::int32_t GRID_STEP = 16;
constexpr std::uint64_t REGION = 256;
constexpr std::int32_t MINIMUM_RUN = 12;
constexpr double THRESHOLD_FACTOR = 6.0; ///< times the picture's mean squared edge magnitude
constexpr double TOO_SMALL = -1.0;
} // namespace

double measureBlockLoss(const Image *luma) {
  const std::uint64_t w = luma->w, h = luma->h;
  if (w < REGION || h < REGION)
    return TOO_SMALL;

  WorkingImage32 rowX(w, h / GRID_STEP), rowY(w, h / GRID_STEP), rowEdges(w, h / GRID_STEP);
  robertsSkip(luma, rowX, rowY, 1, GRID_STEP);
  addSquares32(rowX, rowY, rowEdges);

  WorkingImage32 columnX(w / GRID_STEP, h), columnY(w / GRID_STEP, h),
      columnEdges(w / GRID_STEP, h);
  robertsSkip(luma, columnX, columnY, GRID_STEP, 1);
  addSquares32(columnX, columnY, columnEdges);

  WorkingImage32 fullX(w, h), fullY(w, h), fullEdges(w, h);
  roberts(luma, fullX, fullY);
  addSquares32(fullX, fullY, fullEdges);
  const double threshold =
      THRESHOLD_FACTOR * (static_cast<double>(sumPixels32(fullEdges)) / static_cast<double>(w * h));

  WorkingImage32 horizontal(w / REGION, h / REGION), vertical(w / REGION, h / REGION);
  WorkingImage32 products(w / REGION, h / REGION), columnRuns(w, 1);
  countSeqsH(rowEdges, horizontal, REGION, REGION / GRID_STEP, MINIMUM_RUN, threshold);
  countSeqsV(columnEdges, vertical, columnRuns, REGION / GRID_STEP, REGION, MINIMUM_RUN, threshold);
  multiply(horizontal, vertical, products);
  return static_cast<double>(sumPixels32(products)) /
         static_cast<double>(products->w * products->h);
}

void *blockLoss(void *luma) {
  return runRoutine(luma,
                    [](const Image *picture) { Results.blockLoss = measureBlockLoss(picture); });
}

} // namespace lumagauge
