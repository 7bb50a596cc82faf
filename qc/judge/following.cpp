// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/following.h"

#include <algorithm>

namespace lumagauge::qc {

namespace {

/// Flickering is told of frames that came earlier.
bool isPlain(const Condition &condition) {
  return condition.signal.view == View::value &&
         condition.signal.indicator != Indicator::flickering;
}

bool areAllPlain(const std::vector<Condition> &conditions) {
  return std::all_of(conditions.begin(), conditions.end(), isPlain);
}

bool looksAtPlainValues(const Rule &rule) {
  return areAllPlain(rule.conditions) &&
         std::all_of(rule.alternatives.begin(), rule.alternatives.end(), areAllPlain) &&
         std::all_of(rule.after.begin(), rule.after.end(), areAllPlain);
}

} // namespace

double rateOf(const InputInfo &info) {
  const double rate = info.averageRate.value_or(info.rate);
  return rate > 0 ? rate : DEFAULT_RATE;
}

Following::Following(const Profile &profile, const InputInfo &info, Pace pace)
    : prompt(rateOf(info), Timeline::Sight::frame), context(rateOf(info)) {
  all.reserve(profile.rules.size());
  for (const Rule &rule : profile.rules) {
    all.emplace_back(rule, info.width, info.height);
    isPrompt.push_back(pace == Pace::asSoonAsKnown && looksAtPlainValues(rule));
  }
}

void Following::add(const FrameRecord &record) {
  prompt.add(record);
  context.add(record);
  follow();
}

void Following::finish() {
  prompt.finish();
  context.finish();
  follow();
  for (EventTracker &tracker : all)
    tracker.finish();
}

void Following::tellObserver() const {
  std::vector<const Event *> open;
  for (const EventTracker &tracker : all)
    if (const Event *event = tracker.candidate())
      open.push_back(event);
  observer(lastFollowed, open);
}

void Following::follow() {
  for (Timeline *timeline : {&prompt, &context})
    while (timeline->advance()) {
      for (std::size_t i = 0; i < all.size(); ++i)
        if (isPrompt[i] == (timeline == &prompt))
          all[i].add(*timeline);
      if (timeline == &context) {
        lastFollowed = context.current().record.frame;
        if (observer)
          tellObserver();
      }
    }
}

} // namespace lumagauge::qc
