// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/error_events.h"

#include <algorithm>
#include <map>

namespace lumagauge::qc {

namespace {

/// Seconds after which pictures are taken to be whole again where no I picture says so: streams
/// that refresh a part of each picture have none.
constexpr double MOST_CONCEALED = 10;

Event startOf(const Rule &rule, std::int64_t frame, double time) {
  return {.kind = rule.kind,
          .severity = rule.severity,
          .startFrame = frame,
          .startTime = time,
          .worst = std::nullopt};
}

} // namespace

void LossTracker::add(const DecodeError &error, std::optional<double> next) {
  const bool areMissing = looksForMissing();
  const bool cameOut = !areMissing && error.missing == 0 && next;
  if (kindName(error.kind) != rule.kind || cameOut)
    return;
  double end = error.endTime.value_or(error.time + frameTime);
  if (!error.endTime && next && *next > error.time)
    end = *next;
  pass(error.time);
  if (!open) {
    open = startOf(rule, error.frame, error.time);
    open->endTime = end;
  }
  open->endFrame = std::max(open->startFrame, error.frame);
  open->endTime = std::max(open->endTime, end);
  open->frames += areMissing ? error.missing : 1;
}

void LossTracker::pass(double time) {
  if (open && !isBridged(*open, time, rule))
    close();
}

void LossTracker::finish() {
  if (open)
    close();
}

bool LossTracker::isCertain() const {
  return isLongEnough(open->endTime - open->startTime, rule);
}

void LossTracker::close() {
  if (isCertain())
    events.push_back(std::move(*open));
  open.reset();
}

void ConcealmentTracker::add(const Shown &shown, const std::vector<DecodeError> &errors,
                             bool knowsIntra) {
  if (damagedSince && (shown.isIntra || shown.time - *damagedSince >= MOST_CONCEALED))
    damagedSince.reset();
  for (const DecodeError &error : errors) {
    const bool lostAhead = error.missing > 0 || error.kind == DecodeErrorKind::missing;
    // An I picture behind a loss is whole, one with an error in it is not.
    if (!lostAhead || !shown.isIntra)
      damagedSince = shown.time;
  }
  if (open && !isBridged(*open, shown.time, rule))
    finish();
  if (!damagedSince)
    return;
  if (!open)
    open = startOf(rule, shown.frame, shown.time);
  open->endFrame = shown.frame;
  open->endTime = shown.displayEnd;
  ++open->frames;
  if (!knowsIntra)
    damagedSince.reset();
}

void ConcealmentTracker::finish() {
  if (open)
    events.push_back(std::move(*open));
  open.reset();
}

std::optional<std::size_t> FrameTimes::indexOf(std::int64_t frame) const {
  const std::int64_t index = frame - firstFrame;
  if (index < 0 || index >= static_cast<std::int64_t>(times.size()))
    return std::nullopt;
  return static_cast<std::size_t>(index);
}

std::vector<Event> decodeErrorEvents(const Rule &rule, std::vector<DecodeError> errors,
                                     const FrameTimes &frames) {
  std::stable_sort(errors.begin(), errors.end(),
                   [](const DecodeError &a, const DecodeError &b) { return a.time < b.time; });
  LossTracker tracker(rule, frames.rate);
  for (const DecodeError &error : errors) {
    const std::optional<std::size_t> next = frames.indexOf(error.frame);
    tracker.add(error, next ? std::optional(frames.times[*next]) : std::nullopt);
  }
  tracker.finish();
  return tracker.take();
}

std::vector<Event> concealedEvents(const Rule &rule, const std::vector<DecodeError> &errors,
                                   const FrameTimes &frames) {
  if (errors.empty())
    return {};
  std::map<std::size_t, std::vector<DecodeError>> errorsOf;
  for (const DecodeError &error : errors)
    if (const std::optional<std::size_t> index = frames.indexOf(error.frame))
      errorsOf[*index].push_back(error);
  ConcealmentTracker tracker(rule);
  auto intra = frames.intra.begin();
  for (std::size_t i = 0; i < frames.times.size(); ++i) {
    const bool isIntra = intra != frames.intra.end() && *intra == i;
    intra += isIntra ? 1 : 0;
    const double end = i + 1 < frames.times.size() ? frames.times[i + 1] : frames.end;
    tracker.add({frames.firstFrame + static_cast<std::int64_t>(i), frames.times[i], end, isIntra},
                errorsOf.contains(i) ? errorsOf[i] : std::vector<DecodeError>(),
                !frames.intra.empty());
  }
  tracker.finish();
  return tracker.take();
}

} // namespace lumagauge::qc
