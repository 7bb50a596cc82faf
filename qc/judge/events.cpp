// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/events.h"

#include <algorithm>

namespace lumagauge::qc {

namespace {

bool holdAll(const std::vector<Condition> &conditions, const Timeline &timeline) {
  return !conditions.empty() && std::all_of(conditions.begin(), conditions.end(),
                                            [&](const Condition &c) { return c.holds(timeline); });
}

bool holdAny(const std::vector<std::vector<Condition>> &lists, const Timeline &timeline) {
  return std::any_of(lists.begin(), lists.end(),
                     [&](const auto &list) { return holdAll(list, timeline); });
}

bool isWorse(Comparison comparison, double value, double than) {
  return isMoreWorse(comparison) ? value > than : value < than;
}

bool isBar(Signal signal) {
  return signal.view == View::value && signal.indicator >= Indicator::barTop &&
         signal.indicator <= Indicator::barRight;
}

} // namespace

bool isLongEnough(double duration, const Rule &rule) {
  return duration >= rule.minDuration - TIME_ROUNDING;
}

bool isBridged(const Event &event, double nextStart, const Rule &rule) {
  return nextStart - event.endTime <= rule.bridgedGap + TIME_ROUNDING;
}

bool isToldBy(const Event &still, const Event &frozen) {
  return still.kind == STILL && frozen.kind == FROZEN && frozen.startFrame <= still.endFrame &&
         still.startFrame <= frozen.endFrame;
}

EventTracker::EventTracker(const Rule &followed, std::uint32_t pictureWidth,
                           std::uint32_t pictureHeight)
    : Tracker(followed), width(pictureWidth), height(pictureHeight),
      edgeConditions(followed.conditions) {
  if (rule.edgeThreshold)
    edgeConditions.front().threshold = *rule.edgeThreshold;
}

void EventTracker::add(const Timeline &timeline) {
  const auto &[record, displayEnd] = timeline.current();
  if (!holds(edgeConditions, timeline)) {
    firmStart.reset();
    if (open && record.frame == open->endFrame + 1)
      endsRight = holdAny(rule.after, timeline);
    if (open && !isBridged(*open, displayEnd, rule))
      close();
    return;
  }
  endsRight = false;
  const Condition &leading = rule.conditions.front();
  const std::optional<double> value = timeline[leading.signal];
  if (!open) {
    open = Event{.kind = rule.kind,
                 .severity = rule.severity,
                 .startFrame = record.frame,
                 .startTime = record.time,
                 .worst = {}};
    if (isBar(leading.signal))
      bars.emplace();
  }
  if (bars)
    bars->add(record);
  measureFirmness(timeline);
  open->endFrame = record.frame;
  open->endTime = displayEnd;
  ++open->frames;
  if (value && (!open->worst || isWorse(leading.comparison, *value, *open->worst))) {
    open->worst = value;
    open->worstFrame = record.frame;
  }
}

bool EventTracker::holds(const std::vector<Condition> &conditions, const Timeline &timeline) const {
  return holdAll(conditions, timeline) || holdAny(rule.alternatives, timeline);
}

void EventTracker::measureFirmness(const Timeline &timeline) {
  const auto &[record, displayEnd] = timeline.current();
  if (!holds(rule.conditions, timeline)) {
    firmStart.reset();
    return;
  }
  if (!firmStart)
    firmStart = record.time;
  longestFirm = std::max(longestFirm, displayEnd - *firmStart);
}

bool EventTracker::lastsLongEnough() const {
  return isLongEnough(rule.edgeThreshold ? longestFirm : open->endTime - open->startTime, rule);
}

/// Where something must follow that is known only at the end.
bool EventTracker::isCertain() const {
  return rule.after.empty() && lastsLongEnough();
}

void EventTracker::close() {
  if (bars)
    open->text = bars->text(width, height);
  if (lastsLongEnough() && (rule.after.empty() || endsRight))
    events.push_back(std::move(*open));
  open.reset();
  bars.reset();
  longestFirm = 0;
}

void EventTracker::finish() {
  if (open)
    close();
}

} // namespace lumagauge::qc
