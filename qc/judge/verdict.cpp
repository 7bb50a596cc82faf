// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/verdict.h"

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

std::optional<BrokenRule> brokenRule(const Rule &rule, const std::vector<Event> &events,
                                     std::int64_t frames) {
  if (rule.severity == Severity::info || events.empty())
    return std::nullopt;
  const auto count = static_cast<std::int64_t>(events.size());
  std::int64_t held = 0;
  double longest = 0;
  for (const Event &event : events) {
    held += event.frames;
    longest = std::max(longest, event.endTime - event.startTime);
  }
  const double share =
      frames > 0 ? 100.0 * static_cast<double>(held) / static_cast<double>(frames) : 0;
  const Limits &limits = rule.limits;
  std::vector<std::string> reasons;
  if (!limits.maxShare && !limits.maxDuration && !limits.maxCount)
    reasons.push_back(fmt::format("{} event{}, none allowed", count, count == 1 ? "" : "s"));
  if (limits.maxShare && share > *limits.maxShare)
    reasons.push_back(fmt::format("{:.2f} % of the frames, {} % allowed", share, *limits.maxShare));
  if (limits.maxDuration && longest > *limits.maxDuration)
    reasons.push_back(
        fmt::format("an event of {:.3f} s, {} s allowed", longest, *limits.maxDuration));
  if (limits.maxCount && count > *limits.maxCount)
    reasons.push_back(
        fmt::format("{} event{}, {} allowed", count, count == 1 ? "" : "s", *limits.maxCount));
  if (reasons.empty())
    return std::nullopt;
  return BrokenRule{rule.kind, rule.severity, fmt::format("{}", fmt::join(reasons, "; "))};
}

void decide(Judgement &judgement, const InputEnd &end) {
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
