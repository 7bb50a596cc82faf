// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/judge.h"
#include "qc/judge/cadence.h"
#include "qc/judge/error_events.h"
#include "qc/judge/following.h"
#include "qc/judge/not_judged.h"
#include "qc/judge/summary.h"
#include "qc/judge/verdict.h"

#include <algorithm>
#include <iterator>

namespace lumagauge::qc {

namespace {

void eraseStillWhereFrozen(std::vector<Event> &events) {
  std::vector<Event> frozen;
  std::copy_if(events.begin(), events.end(), std::back_inserter(frozen),
               [](const Event &event) { return event.kind == FROZEN; });
  std::erase_if(events, [&](const Event &event) {
    return std::any_of(frozen.begin(), frozen.end(),
                       [&](const Event &other) { return isToldBy(event, other); });
  });
}

} // namespace

struct Judge::State {
  State(const Profile &judged, const InputInfo &info, std::uint32_t measured)
      : profile(judged), shape{measured, info.width, info.height},
        following(profile, info, Following::Pace::together), shots(rateOf(info)),
        cadence(rateOf(info)) {
    frames.rate = rateOf(info);
  }
  State(const State &) = delete;
  State &operator=(const State &) = delete;

  const Profile profile;
  MeasuredShape shape;
  Following following; ///< over the rules of `profile`
  Summarizer summarizer;
  ShotSummarizer shots;
  CadenceFinder cadence;
  FrameTimes frames; ///< all of them, to place decode errors
};

Judge::Judge(const Profile &profile, const InputInfo &info, std::uint32_t measured)
    : state(std::make_unique<State>(profile, info, measured)) {}
Judge::Judge(Judge &&) noexcept = default;
Judge::~Judge() = default;

void Judge::observe(FrameObserver observer) {
  state->following.observe(std::move(observer));
}

void Judge::add(const FrameRecord &record) {
  State &s = *state;
  if (s.frames.times.empty())
    s.frames.firstFrame = record.frame;
  if (record.pictureType == 'I')
    s.frames.intra.push_back(s.frames.times.size());
  s.frames.times.push_back(record.time);
  s.summarizer.add(record);
  s.shots.add(record);
  s.cadence.add(record);
  s.following.add(record);
}

Judgement Judge::finish(const InputEnd &end) {
  State &s = *state;
  s.following.finish();
  if (!s.frames.times.empty())
    s.frames.end = s.frames.times.back() + 1 / s.frames.rate;
  Judgement judgement;
  judgement.summaries = s.summarizer.finish();
  judgement.shots = s.shots.finish();
  judgement.cadence = s.cadence.finish();
  judgement.rules = s.profile.rules.size();
  judgement.firstFrame = s.frames.firstFrame;
  judgement.frames = s.shape.frames = static_cast<std::int64_t>(s.frames.times.size());
  if (judgement.frames > 0)
    judgement.duration = s.frames.end - s.frames.times.front();
  for (std::size_t i = 0; i < s.profile.rules.size(); ++i) {
    const Rule &rule = s.profile.rules[i];
    std::vector<Event> events = rule.kind == CONCEALED ? concealedEvents(rule, end.errors, s.frames)
                                : rule.conditions.empty()
                                    ? decodeErrorEvents(rule, end.errors, s.frames)
                                    : s.following.trackers()[i].take();
    EventTotals totals;
    for (const Event &event : events)
      totals.add(event, event.endTime - event.startTime);
    const std::optional<BrokenRule> broken = brokenRule(rule, totals, judgement.frames);
    if (broken)
      judgement.broken.push_back(*broken);
    for (Event &event : events) {
      if (!broken)
        event.severity = Severity::info;
      judgement.events.push_back(std::move(event));
    }
    if (std::string why = lackOfValues(rule, judgement.summaries, s.shape); !why.empty())
      judgement.notJudged.push_back({rule.kind, std::move(why)});
  }
  eraseStillWhereFrozen(judgement.events);
  std::stable_sort(judgement.events.begin(), judgement.events.end(),
                   [](const Event &a, const Event &b) { return a.startTime < b.startTime; });
  decide(judgement, end);
  return judgement;
}

Judgement unmeasured(std::string reason) {
  Judgement judgement;
  judgement.verdict = Verdict::unmeasured;
  judgement.reason = std::move(reason);
  return judgement;
}

} // namespace lumagauge::qc
