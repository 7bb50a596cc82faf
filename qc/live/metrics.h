// SPDX-License-Identifier: BSD-2-Clause
//
// The file of --metrics while a live run goes on.
#ifndef LUMAGAUGE_QC_LIVE_METRICS_H
#define LUMAGAUGE_QC_LIVE_METRICS_H

#include "qc/report/prometheus.h"

#include <chrono>

namespace lumagauge::qc {

/// Writes the file anew as things change, at most every second, and whole each time. Where it
/// cannot be written that is told on standard error, once until it can again.
class Metrics {
public:
  /// An empty path: no file.
  Metrics(const std::string &path, const std::string &input);

  void connected();
  void frame(const FrameRecord &record);
  void event(const EventChange &change);
  /// To be called often. `lost`: seconds for which the signal has been lost by now; 0 while it is
  /// there.
  void update(const LiveTotals &totals, const Profile &profile, double lost);
  void finish(const LiveTotals &totals, const Profile &profile);

private:
  using Clock = std::chrono::steady_clock;

  void write(const LiveTotals &totals, const Profile &profile, double lost);

  std::string path;
  LiveState state;
  Clock::time_point due = Clock::now();
  bool isFailing = false;
};

} // namespace lumagauge::qc

#endif
