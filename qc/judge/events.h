// SPDX-License-Identifier: BSD-2-Clause
//
// From single frames on which a rule holds to events.
#ifndef LUMAGAUGE_QC_JUDGE_EVENTS_H
#define LUMAGAUGE_QC_JUDGE_EVENTS_H

#include "qc/judge/bar_tally.h"
#include "qc/judge/profile.h"

#include <utility>

namespace lumagauge::qc {

/// Differences of time stamps below this are rounding, not time (seconds).
constexpr double TIME_ROUNDING = 1e-6;

/// Gathers the events of one rule, which must outlive it.
class Tracker {
public:
  explicit Tracker(const Rule &followed) : rule(followed) {}
  virtual ~Tracker() = default;

  /// What the rule holds on now, whether or not it comes to be an event; null where on nothing.
  const Event *candidate() const { return open ? &*open : nullptr; }
  /// An event that has not ended yet but is sure to be one; null where there is none.
  const Event *certain() const { return open && isCertain() ? &*open : nullptr; }
  /// The events that have ended since the last call.
  std::vector<Event> take() { return std::exchange(events, {}); }

protected:
  virtual bool isCertain() const = 0;

  const Rule &rule;
  std::optional<Event> open; ///< not yet known to last long enough
  std::vector<Event> events;
};

/// Follows one rule through the frames; a rule without conditions has no events here.
class EventTracker : public Tracker {
public:
  /// In pictures of width x height samples.
  EventTracker(const Rule &followed, std::uint32_t width, std::uint32_t height);

  /// The next frame, the timeline's current one.
  void add(const Timeline &timeline);
  /// After the last frame.
  void finish();

private:
  bool isCertain() const override;
  /// The conditions or those of an alternative of the rule.
  bool holds(const std::vector<Condition> &conditions, const Timeline &timeline) const;
  void close();
  bool lastsLongEnough() const;
  void measureFirmness(const Timeline &timeline);

  std::uint32_t width, height;
  std::optional<BarTally> bars;          ///< of the open event, where the rule is on bars
  std::vector<Condition> edgeConditions; ///< the rule's, with the edge threshold where it has one
  std::optional<double> firmStart; ///< of the current frames on end that meet the rule's threshold
  double longestFirm = 0;          ///< seconds of the longest such stretch in the open event
  bool endsRight = false;          ///< the frame behind the open event is as the rule wants it
};

/// Whether an event lasts as long as the rule wants it to.
bool isLongEnough(double duration, const Rule &rule);
/// Whether what begins `nextStart` still belongs to the event.
bool isBridged(const Event &event, double nextStart, const Rule &rule);
/// What is frozen is still as well, and told once: of two events whether `frozen` tells `still`.
bool isToldBy(const Event &still, const Event &frozen);
constexpr std::string_view STILL = "still", FROZEN = "frozen";

} // namespace lumagauge::qc

#endif
