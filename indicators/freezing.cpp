// SPDX-License-Identifier: BSD-2-Clause
//
// Freezing: 1 once the video has stood still for a tenth of a second. A frame stands still when its
// temporal activity is at most 1.0 and it is no blackout. At 0 frames per second or fewer every
// frame counts as frozen.
#include "indicators/routines.h"

namespace lumagauge {

namespace {
constexpr double STILL_ACTIVITY = 1.0;
constexpr double FREEZE_SECONDS = 0.1;
} // namespace

bool measureFreezing(FreezingState &state, bool blackout, double temporalActivity, double fps) {
  const bool still = temporalActivity <= STILL_ACTIVITY && !blackout;
  state.freezingTemp = still ? state.freezingTemp + 1 : 0;
  return state.freezingTemp >= fps * FREEZE_SECONDS;
}

bool freezing(std::uint8_t blackout, double temporalActivity, double fps) {
  static FreezingState state;
  return measureFreezing(state, blackout != 0, temporalActivity, fps);
}

} // namespace lumagauge
