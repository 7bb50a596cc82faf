// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/verdict.h"
#include "qc/judge/events.h"

#include <algorithm>
#include <fmt/format.h>

namespace lumagauge::qc {

namespace {
constexpr std::array<std::string_view, 4> VERDICT_NAMES{"pass", "warn", "fail", "unmeasured"};
}

std::string_view verdictName(Verdict verdict) {
  return VERDICT_NAMES[static_cast<std::size_t>(verdict)];
}

int exitStatus(Verdict verdict) {
  switch (verdict) {
  case Verdict::pass:
  case Verdict::warn:
    return 0;
  case Verdict::fail:
    return 1;
  case Verdict::unmeasured:
    break;
  }
  return 2;
}

void EventTotals::add(const Event &event, double seconds) {
  total += seconds;
  ++count;
  frames += event.frames;
  longest = std::max(longest, event.endTime - event.startTime);
}

std::optional<BrokenRule> brokenRule(const Rule &rule, const EventTotals &totals,
                                     std::int64_t frames) {
  const auto &[count, held, longest, total] = totals;
  if (rule.severity == Severity::info || count == 0)
    return std::nullopt;
  const double share =
      frames > 0 ? 100.0 * static_cast<double>(held) / static_cast<double>(frames) : 0;
  const Limits &limits = rule.limits;
  std::vector<std::string> reasons;
  const bool areMissing = rule.kind == kindName(DecodeErrorKind::missing);
  const bool isLimited =
      limits.maxShare || limits.maxDuration || limits.maxTotal || limits.maxCount;
  if (areMissing && !isLimited)
    reasons.push_back(fmt::format("{} frame{}, none allowed", held, held == 1 ? "" : "s"));
  else if (!isLimited)
    reasons.push_back(fmt::format("{} event{}, none allowed", count, count == 1 ? "" : "s"));
  if (limits.maxShare && share > *limits.maxShare)
    reasons.push_back(fmt::format("{:.2f} % of the frames, {} % allowed", share, *limits.maxShare));
  if (limits.maxDuration && longest > *limits.maxDuration)
    reasons.push_back(
        fmt::format("an event of {:.3f} s, {} s allowed", longest, *limits.maxDuration));
  if (limits.maxTotal && total > *limits.maxTotal + TIME_ROUNDING)
    reasons.push_back(
        fmt::format("{:.3f} s of all events together, {} s allowed", total, *limits.maxTotal));
  if (limits.maxCount && count > *limits.maxCount)
    reasons.push_back(
        fmt::format("{} event{}, {} allowed", count, count == 1 ? "" : "s", *limits.maxCount));
  if (reasons.empty())
    return std::nullopt;
  return BrokenRule{rule.kind, rule.severity, fmt::format("{}", fmt::join(reasons, "; "))};
}

void decide(Judgement &judgement, const InputEnd &end) {
  if (end.interrupted) { // what was found so far cannot pass for all of the input
    judgement.verdict = Verdict::unmeasured;
    judgement.reason = fmt::format("interrupted after {} frame{} ({:.3f} s)", judgement.frames,
                                   judgement.frames == 1 ? "" : "s", judgement.duration);
    return;
  }
  if (judgement.frames == 0) {
    judgement.verdict = Verdict::unmeasured;
    judgement.reason = "no frame could be measured";
    if (!end.reason.empty())
      judgement.reason += ": " + end.reason;
    else if (!end.errors.empty())
      judgement.reason += ": " + end.errors.front().message;
    return;
  }
  if (end.doubtful) {
    judgement.verdict = Verdict::unmeasured;
    judgement.reason = "the result is doubtful: " + end.reason;
    return;
  }
  judgement.verdict = Verdict::pass;
  for (const BrokenRule &broken : judgement.broken)
    judgement.verdict = std::max(judgement.verdict,
                                 broken.severity == Severity::fail ? Verdict::fail : Verdict::warn);
}

} // namespace lumagauge::qc
