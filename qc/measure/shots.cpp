// SPDX-License-Identifier: BSD-2-Clause
#include "qc/measure/shots.h"

namespace lumagauge::qc {

namespace {
/// Cuts have 0.4 and more, whip pans, flashes and damage to parts of the picture less.
constexpr double CUT = 0.35;
} // namespace

std::int64_t ShotCounter::add(const FrameRecord &record) {
  const bool isFlat = record[Indicator::blackout].value_or(0) != 0;
  const bool changes = record[Indicator::sceneChange].value_or(0) > CUT;
  const bool isCut = changes && !changedBefore;
  changedBefore = changes;
  if (isCut || (afterFlat && !isFlat && afterPicture))
    ++shot;
  afterFlat = isFlat;
  afterPicture = afterPicture || !isFlat;
  return shot;
}

} // namespace lumagauge::qc
