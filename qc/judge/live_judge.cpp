// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/live_judge.h"

#include "qc/judge/error_follower.h"
#include "qc/judge/following.h"
#include "qc/judge/stretch.h"

#include <algorithm>
#include <cmath>

namespace lumagauge::qc {

namespace {

Profile withLostSignals(Profile profile) {
  const auto missing =
      std::find_if(profile.rules.begin(), profile.rules.end(), [](const Rule &rule) {
        return rule.kind == kindName(DecodeErrorKind::missing);
      });
  const Severity severity = missing == profile.rules.end() ? Severity::info : missing->severity;
  profile.rules.push_back({.kind = std::string(SIGNAL_LOST),
                           .conditions = {},
                           .alternatives = {},
                           .after = {},
                           .edgeThreshold = {},
                           .severity = severity,
                           .limits = {}});
  return profile;
}

/// Shares and counts are for windows to tell.
Severity severityOf(const Rule &rule, const Event &event) {
  const Limits &limits = rule.limits;
  const double length = event.endTime - event.startTime;
  const bool isLimited =
      limits.maxShare || limits.maxDuration || limits.maxTotal || limits.maxCount;
  const bool isBroken = !isLimited || (limits.maxDuration && length > *limits.maxDuration) ||
                        (limits.maxTotal && length > *limits.maxTotal + TIME_ROUNDING);
  return isBroken ? rule.severity : Severity::info;
}

/// A stretch and how far the events went that were open when it began.
struct OpenStretch {
  struct Begun {
    std::int64_t startFrame = -1, frames = 0;
  };

  Stretch stretch;
  std::vector<Begun> begun; ///< by rule

  void add(std::size_t rule, const Event &event) {
    const bool isBegun = begun[rule].startFrame == event.startFrame;
    stretch.add(rule, event, isBegun ? begun[rule].frames : 0);
  }
};

} // namespace

struct LiveJudge::State {
  State(const Profile &judged, double windowSeconds, LiveSinks told)
      : profile(withLostSignals(judged)), length(windowSeconds), sinks(std::move(told)),
        known(profile.rules.size()) {
    totals.rules.resize(profile.rules.size());
  }
  State(const State &) = delete;
  State &operator=(const State &) = delete;

  /// What has been told of a rule's open event.
  struct Known {
    std::int64_t id = 0; ///< 0: nothing
    Severity severity = Severity::info;
  };
  struct EndedStill {
    Known known;
    Event event;
  };

  std::size_t ruleOf(std::string_view kind) const {
    const auto found = std::find_if(profile.rules.begin(), profile.rules.end(),
                                    [&](const Rule &rule) { return rule.kind == kind; });
    return static_cast<std::size_t>(found - profile.rules.begin());
  }
  Tracker *trackerOf(std::size_t rule) {
    if (!following || rule >= following->trackers().size())
      return nullptr;
    Tracker *const ofErrors = errors->trackerOf(rule);
    return ofErrors != nullptr ? ofErrors : &following->trackers()[rule];
  }

  OpenStretch begin() {
    OpenStretch opened{Stretch(profile, info, measured), {}};
    for (std::size_t i = 0; i < profile.rules.size(); ++i) {
      const Tracker *const tracker = trackerOf(i);
      const Event *const event = tracker != nullptr ? tracker->candidate() : nullptr;
      opened.begun.push_back(event != nullptr ? OpenStretch::Begun{event->startFrame, event->frames}
                                              : OpenStretch::Begun{});
    }
    for (const EndedStill &still : endedStill)
      opened.begun[ruleOf(STILL)] = {still.event.startFrame, still.event.frames};
    return opened;
  }

  /// Adds what is known of events that are open now.
  void addOpen(OpenStretch &stretch) {
    for (std::size_t i = 0; i < profile.rules.size(); ++i) {
      const Tracker *const tracker = trackerOf(i);
      if (const Event *const event = tracker != nullptr ? tracker->certain() : nullptr)
        stretch.add(i, *event);
    }
    for (const EndedStill &still : endedStill)
      stretch.add(ruleOf(STILL), still.event);
    if (lost)
      stretch.add(ruleOf(SIGNAL_LOST), *lost);
  }

  void enterWindow(double time) {
    if (window && time < windowEnd)
      return;
    endWindow(true);
    windowNumber = static_cast<std::int64_t>(std::floor(time / length));
    windowEnd = static_cast<double>(windowNumber + 1) * length;
    window = begin();
  }

  void endWindow(bool isComplete) {
    if (!window)
      return;
    addOpen(*window);
    WindowJudgement judged{.number = windowNumber,
                           .start = static_cast<double>(windowNumber) * length,
                           .end = windowEnd,
                           .isComplete = isComplete,
                           .judgement = window->stretch.finish({})};
    window.reset();
    const bool isFirst = totals.windows++ == 0;
    const Verdict verdict = judged.judgement.verdict;
    totals.verdict = isFirst ? verdict : std::max(totals.verdict, verdict);
    for (const BrokenRule &broken : judged.judgement.broken)
      ++totals.rules[ruleOf(broken.kind)].brokenWindows;
    sinks.window(judged);
  }

  void tell(Change change, std::int64_t id, const Event &event, const std::string &reason = "",
            double waited = 0) {
    sinks.event({change, id, event, reason, waited});
  }

  /// Tells of an event what is new.
  void progress(std::size_t rule, Known &told, Event event) {
    event.severity = severityOf(profile.rules[rule], event);
    const bool isNew = told.id == 0;
    if (isNew)
      told.id = ++lastId;
    totals.rules[rule].isOpen = true;
    if (isNew || event.severity != told.severity)
      tell(isNew ? Change::opened : Change::raised, told.id, event);
    told.severity = event.severity;
  }

  void close(std::size_t rule, Known told, Event event, const std::string &reason = "",
             double waited = 0) {
    progress(rule, told, event);
    event.severity = told.severity;
    for (OpenStretch *stretch : {window ? &*window : nullptr, part ? &*part : nullptr})
      if (stretch != nullptr)
        stretch->add(rule, event);
    totals.rules[rule].events.add(event, event.endTime - event.startTime);
    totals.rules[rule].isOpen = false;
    tell(Change::closed, told.id, event, reason, waited);
  }

  /// Tells what the frames so far have made of the events.
  void update() {
    for (std::size_t i = 0; i < profile.rules.size(); ++i) {
      Tracker &tracker = *trackerOf(i);
      for (Event &event : tracker.take()) {
        const Known told = std::exchange(known[i], {});
        if (event.kind == FROZEN)
          frozen.push_back(event);
        if (event.kind == STILL)
          endedStill.push_back({told, std::move(event)});
        else
          close(i, told, std::move(event));
      }
      if (const Event *event = tracker.certain())
        progress(i, known[i], *event);
    }
    settleStill();
  }

  /// A still event is told once no frozen one can tell it any more.
  void settleStill() {
    const std::size_t still = ruleOf(STILL);
    const Tracker *const stills = trackerOf(still), *const freezes = trackerOf(ruleOf(FROZEN));
    std::erase_if(endedStill, [&](const EndedStill &ended) {
      const Event &event = ended.event;
      if (std::any_of(frozen.begin(), frozen.end(),
                      [&](const Event &other) { return isToldBy(event, other); })) {
        totals.rules[still].isOpen = false;
        if (ended.known.id != 0)
          tell(Change::withdrawn, ended.known.id, event, std::string(FROZEN));
        return true;
      }
      const Event *const freeze = freezes != nullptr ? freezes->candidate() : nullptr;
      if (freezes != nullptr && (following->followed() < event.endFrame ||
                                 (freeze != nullptr && freeze->startFrame <= event.endFrame)))
        return false;
      close(still, ended.known, event);
      return true;
    });
    if (endedStill.empty() && (stills == nullptr || stills->candidate() == nullptr))
      frozen.clear();
  }

  const Profile profile;
  const double length; ///< of a window, seconds
  LiveSinks sinks;
  LiveTotals totals;

  InputInfo info; ///< of the connection
  std::uint32_t measured = 0;
  std::optional<Following> following; ///< while there is one
  std::optional<ErrorFollower> errors;
  std::optional<double> connectedAt; ///< time of its first frame

  std::vector<Known> known; ///< by rule
  std::vector<EndedStill> endedStill;
  std::vector<Event> frozen; ///< that may tell what is still
  std::optional<Event> lost; ///< while no signal is there
  std::string lossReason;
  std::int64_t lastId = 0;

  std::optional<OpenStretch> window, part;
  std::int64_t windowNumber = 0;
  double windowEnd = 0;
};

LiveJudge::LiveJudge(const Profile &profile, double windowSeconds, LiveSinks sinks)
    : state(std::make_unique<State>(profile, windowSeconds, std::move(sinks))) {}
LiveJudge::~LiveJudge() = default;

const Profile &LiveJudge::profile() const {
  return state->profile;
}

void LiveJudge::connect(const InputInfo &info, std::uint32_t measured) {
  State &s = *state;
  s.info = info;
  s.measured = measured;
  s.following.emplace(s.profile, info, Following::Pace::asSoonAsKnown);
  s.errors.emplace(s.profile, rateOf(info));
}

void LiveJudge::add(const FrameRecord &record) {
  State &s = *state;
  s.enterWindow(record.time);
  if (!s.connectedAt)
    s.connectedAt = record.time;
  s.totals.lastTime = record.time;
  ++s.totals.frames;
  s.window->stretch.add(record);
  if (s.part)
    s.part->stretch.add(record);
  s.errors->add(record);
  s.following->add(record);
  s.update();
}

void LiveJudge::disconnect(const InputEnd &end) {
  State &s = *state;
  s.following->finish();
  s.errors->finish(end.errors);
  s.update();
  if (s.connectedAt)
    s.totals.duration += s.totals.lastTime + 1 / rateOf(s.info) - *s.connectedAt;
  s.connectedAt.reset();
}

void LiveJudge::signalLost(double time, const std::string &reason, double waited) {
  State &s = *state;
  if (s.lost)
    return;
  s.lost = Event{.kind = std::string(SIGNAL_LOST),
                 .startFrame = s.totals.frames,
                 .endFrame = s.totals.frames,
                 .startTime = time,
                 .endTime = time,
                 .worst = {}};
  s.lossReason = reason;
  const std::size_t rule = s.ruleOf(SIGNAL_LOST);
  Event told = *s.lost;
  told.severity = s.profile.rules[rule].severity;
  s.known[rule] = {++s.lastId, told.severity};
  s.totals.rules[rule].isOpen = true;
  s.tell(Change::opened, s.lastId, told, reason, waited);
}

void LiveJudge::signalBack(double time, double waited) {
  State &s = *state;
  if (!s.lost)
    return;
  Event event = *std::exchange(s.lost, {});
  event.endTime = std::max(time, event.startTime);
  const std::size_t rule = s.ruleOf(SIGNAL_LOST);
  s.close(rule, std::exchange(s.known[rule], {}), std::move(event), s.lossReason, waited);
}

void LiveJudge::beginPart() {
  state->part = state->begin();
}

Judgement LiveJudge::endPart(const InputEnd &end) {
  State &s = *state;
  s.addOpen(*s.part);
  Judgement judgement = s.part->stretch.finish(end);
  s.part.reset();
  return judgement;
}

const LiveTotals &LiveJudge::totals() const {
  return state->totals;
}

const LiveTotals &LiveJudge::finish(double waited) {
  signalBack(state->totals.lastTime, waited);
  state->endWindow(false);
  return state->totals;
}

} // namespace lumagauge::qc
