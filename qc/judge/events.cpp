// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/events.h"

#include <algorithm>

namespace lumagauge::qc {

namespace {

bool isLongEnough(double duration, const Rule &rule) {
  return duration >= rule.minDuration - TIME_ROUNDING;
}

bool holdAll(const std::vector<Condition> &conditions, const FrameRecord &record) {
  return !conditions.empty() && std::all_of(conditions.begin(), conditions.end(),
                                            [&](const Condition &c) { return c.holds(record); });
}

bool isBridged(const Event &event, double nextStart, const Rule &rule) {
  return nextStart - event.endTime <= rule.bridgedGap + TIME_ROUNDING;
}

} // namespace

EventTracker::EventTracker(const Rule &followed)
    : rule(followed), edgeConditions(followed.conditions) {
  if (rule.edgeThreshold)
    edgeConditions.front().threshold = *rule.edgeThreshold;
}

void EventTracker::add(const FrameRecord &record, double displayEnd) {
  if (!holdAll(edgeConditions, record)) {
    firmStart.reset();
    if (open && !isBridged(*open, displayEnd, rule))
      close();
    return;
  }
  const Condition &leading = rule.conditions.front();
  const double value = *record[leading.indicator];
  if (!open) {
    open = Event{.kind = rule.kind,
                 .severity = rule.severity,
                 .startFrame = record.frame,
                 .startTime = record.time,
                 .worst = value};
  }
  measureFirmness(record, displayEnd);
  open->endFrame = record.frame;
  open->endTime = displayEnd;
  ++open->frames;
  open->worst = isMoreWorse(leading.comparison) ? std::max(*open->worst, value)
                                                : std::min(*open->worst, value);
}

void EventTracker::measureFirmness(const FrameRecord &record, double displayEnd) {
  if (!holdAll(rule.conditions, record)) {
    firmStart.reset();
    return;
  }
  if (!firmStart)
    firmStart = record.time;
  longestFirm = std::max(longestFirm, displayEnd - *firmStart);
}

void EventTracker::close() {
  if (isLongEnough(rule.edgeThreshold ? longestFirm : open->endTime - open->startTime, rule))
    events.push_back(std::move(*open));
  open.reset();
  longestFirm = 0;
}

std::vector<Event> EventTracker::finish() {
  if (open)
    close();
  return std::move(events);
}

std::vector<Event> undecodableEvents(const Rule &rule, std::vector<DecodeError> errors,
                                     const std::vector<double> &times, std::int64_t firstFrame,
                                     double rate) {
  std::stable_sort(errors.begin(), errors.end(),
                   [](const DecodeError &a, const DecodeError &b) { return a.time < b.time; });
  std::vector<Event> events;
  for (const DecodeError &error : errors) {
    double end = error.time + 1.0 / rate;
    const std::int64_t next = error.frame - firstFrame;
    if (next >= 0 && next < static_cast<std::int64_t>(times.size()) &&
        times[static_cast<std::size_t>(next)] > error.time)
      end = times[static_cast<std::size_t>(next)];
    if (events.empty() || !isBridged(events.back(), error.time, rule)) {
      events.push_back({.kind = rule.kind,
                        .severity = rule.severity,
                        .startFrame = error.frame,
                        .startTime = error.time,
                        .endTime = end,
                        .worst = std::nullopt});
    }
    Event &event = events.back();
    event.endFrame = std::max(event.startFrame, error.frame);
    event.endTime = std::max(event.endTime, end);
    ++event.frames;
  }
  std::erase_if(events, [&](const Event &event) {
    return !isLongEnough(event.endTime - event.startTime, rule);
  });
  return events;
}

} // namespace lumagauge::qc
