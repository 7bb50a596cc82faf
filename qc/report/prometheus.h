// SPDX-License-Identifier: BSD-2-Clause
//
// --metrics: the state of a live run in the Prometheus text format (docs/live.md).
#ifndef LUMAGAUGE_QC_REPORT_PROMETHEUS_H
#define LUMAGAUGE_QC_REPORT_PROMETHEUS_H

#include "qc/judge/live_judge.h"

#include <string>

namespace lumagauge::qc {

/// What a run is at now. Times are seconds since 1970.
struct LiveState {
  std::string input;
  bool isRunning = true, hasSignal = false;
  double startTime = 0;
  double lastFrameTime = 0; ///< when the last frame was measured; 0 where none was
  std::int64_t connections = 0;
  double lostSeconds = 0; ///< for which the signal was lost, in all
  Values values = {};     ///< of each indicator the last one, numbers or not
};

/// The whole file.
std::string prometheusText(const LiveState &state, const LiveTotals &totals,
                           const Profile &profile);

} // namespace lumagauge::qc

#endif
