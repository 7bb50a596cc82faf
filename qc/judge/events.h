// SPDX-License-Identifier: BSD-2-Clause
//
// From single frames on which a rule holds to events.
#ifndef LUMAGAUGE_QC_JUDGE_EVENTS_H
#define LUMAGAUGE_QC_JUDGE_EVENTS_H

#include "qc/judge/profile.h"

namespace lumagauge::qc {

/// Differences of time stamps below this are rounding, not time (seconds).
constexpr double TIME_ROUNDING = 1e-6;

/// Follows one rule through the frames; a rule without conditions has no events here.
class EventTracker {
public:
  explicit EventTracker(const Rule &followed);

  /// The next frame, shown until `displayEnd`.
  void add(const FrameRecord &record, double displayEnd);
  /// The events, after the last frame.
  std::vector<Event> finish();

private:
  void close();

  void measureFirmness(const FrameRecord &record, double displayEnd);

  const Rule &rule;
  std::vector<Condition> edgeConditions; ///< the rule's, with the edge threshold where it has one
  std::optional<Event> open;             ///< not yet known to last long enough
  std::optional<double> firmStart; ///< of the current frames on end that meet the rule's threshold
  double longestFirm = 0;          ///< seconds of the longest such stretch in the open event
  std::vector<Event> events;
};

/// Stretches that could not be decoded: each error lasts until the frame that follows it, the
/// `times[i]` of frame `firstFrame` + i, or one frame at `rate` where none does.
std::vector<Event> undecodableEvents(const Rule &rule, std::vector<DecodeError> errors,
                                     const std::vector<double> &times, std::int64_t firstFrame,
                                     double rate);

} // namespace lumagauge::qc

#endif
