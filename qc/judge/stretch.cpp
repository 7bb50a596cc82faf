// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/stretch.h"

#include "qc/judge/following.h"

#include <algorithm>

namespace lumagauge::qc {

Stretch::Stretch(const Profile &judged, const InputInfo &info, std::uint32_t measured)
    : profile(&judged), shape{measured, info.width, info.height}, frameTime(1 / rateOf(info)),
      shots(rateOf(info)), cadence(rateOf(info)), events(judged.rules.size()),
      totals(judged.rules.size()) {}

void Stretch::add(const FrameRecord &record) {
  if (shape.frames++ == 0) {
    firstFrame = record.frame;
    startTime = record.time;
  }
  endTime = record.time + frameTime;
  summarizer.add(record);
  shots.add(record);
  cadence.add(record);
}

void Stretch::add(std::size_t rule, const Event &event, std::int64_t heldBefore) {
  events[rule].push_back(event);
  Event within = event;
  within.frames -= heldBefore;
  const double begin = heldBefore > 0 ? std::max(event.startTime, startTime) : event.startTime;
  totals[rule].add(within, event.endTime - begin);
}

Judgement Stretch::finish(const InputEnd &end) {
  Judgement judgement;
  judgement.summaries = summarizer.finish();
  judgement.shots = shots.finish();
  judgement.cadence = cadence.finish();
  judgement.rules = profile->rules.size();
  judgement.firstFrame = firstFrame;
  judgement.frames = shape.frames;
  judgement.duration = endTime - startTime;
  for (std::size_t i = 0; i < profile->rules.size(); ++i) {
    const Rule &rule = profile->rules[i];
    if (const std::optional<BrokenRule> broken = brokenRule(rule, totals[i], shape.frames))
      judgement.broken.push_back(*broken);
    if (std::string why = lackOfValues(rule, judgement.summaries, shape); !why.empty())
      judgement.notJudged.push_back({rule.kind, std::move(why)});
    judgement.events.insert(judgement.events.end(), events[i].begin(), events[i].end());
  }
  std::stable_sort(judgement.events.begin(), judgement.events.end(),
                   [](const Event &a, const Event &b) { return a.startTime < b.startTime; });
  decide(judgement, end);
  return judgement;
}

} // namespace lumagauge::qc
