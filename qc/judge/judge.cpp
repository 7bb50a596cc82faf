// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/judge.h"
#include "qc/judge/events.h"
#include "qc/judge/summary.h"
#include "qc/judge/verdict.h"

#include <algorithm>
#include <deque>

namespace lumagauge::qc {

struct Judge::State {
  State(const Profile &judged, const InputInfo &info)
      : profile(judged), rate(info.averageRate.value_or(info.rate)) {
    if (!(rate > 0))
      rate = DEFAULT_RATE;
    trackers.reserve(profile.rules.size());
    for (const Rule &rule : profile.rules)
      trackers.emplace_back(rule);
  }
  State(const State &) = delete;
  State &operator=(const State &) = delete;

  /// Gives the first waiting record to the rules. Its display ends when the next one's begins;
  /// after the last frame, and where time stamps do not rise, after one frame at the rate.
  void release() {
    const FrameRecord record = std::move(waiting.front());
    waiting.pop_front();
    displayEnd = record.time + 1.0 / rate;
    if (!waiting.empty() && waiting.front().time > record.time)
      displayEnd = waiting.front().time;
    for (EventTracker &tracker : trackers)
      tracker.add(record, displayEnd);
  }

  const Profile profile;
  double rate; ///< frames a second, for the display time of the last frame
  Summarizer summarizer;
  std::vector<EventTracker> trackers; ///< one a rule of the profile, over the rules in it
  /// Records that the rules have not seen yet: a flickering value still to come may stand for them.
  std::deque<FrameRecord> waiting;
  std::vector<double> times; ///< of all frames, to place decode errors
  std::int64_t firstFrame = 0;
  double displayEnd = 0; ///< of the last record that was released
};

Judge::Judge(const Profile &profile, const InputInfo &info)
    : state(std::make_unique<State>(profile, info)) {}
Judge::Judge(Judge &&) noexcept = default;
Judge::~Judge() = default;

void Judge::add(const FrameRecord &record) {
  State &s = *state;
  if (s.times.empty())
    s.firstFrame = record.frame;
  s.times.push_back(record.time);
  s.summarizer.add(record);
  s.waiting.push_back(record);
  if (const std::optional<double> &value = record[Indicator::flickering])
    for (std::size_t back = 1; back <= std::min(FLICKERING_PERIOD, s.waiting.size()); ++back)
      s.waiting[s.waiting.size() - back][Indicator::flickering] = value;
  if (s.waiting.size() > FLICKERING_PERIOD)
    s.release();
}

Judgement Judge::finish(const InputEnd &end) {
  State &s = *state;
  while (!s.waiting.empty())
    s.release();
  Judgement judgement;
  judgement.summaries = s.summarizer.finish();
  judgement.frames = static_cast<std::int64_t>(s.times.size());
  if (judgement.frames > 0)
    judgement.duration = s.displayEnd - s.times.front();
  for (std::size_t i = 0; i < s.profile.rules.size(); ++i) {
    const Rule &rule = s.profile.rules[i];
    std::vector<Event> events =
        rule.conditions.empty() ? undecodableEvents(rule, end.errors, s.times, s.firstFrame, s.rate)
                                : s.trackers[i].finish();
    const std::optional<BrokenRule> broken = brokenRule(rule, events, judgement.frames);
    if (broken)
      judgement.broken.push_back(*broken);
    for (Event &event : events) {
      if (!broken)
        event.severity = Severity::info;
      judgement.events.push_back(std::move(event));
    }
    const bool lacksValues =
        std::any_of(rule.conditions.begin(), rule.conditions.end(), [&](const Condition &c) {
          const IndicatorSummary &summary =
              judgement.summaries[static_cast<std::size_t>(c.indicator)];
          return summary.count + summary.nan == 0;
        });
    if (lacksValues)
      judgement.notJudged.push_back(rule.kind);
  }
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
