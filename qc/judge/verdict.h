// SPDX-License-Identifier: BSD-2-Clause
//
// From events to the verdict.
#ifndef LUMAGAUGE_QC_JUDGE_VERDICT_H
#define LUMAGAUGE_QC_JUDGE_VERDICT_H

#include "qc/judge/profile.h"

namespace lumagauge::qc {

/// What limits are held against: the events of a rule.
struct EventTotals {
  std::int64_t count = 0;
  std::int64_t frames = 0; ///< on which the rule held
  double longest = 0;      ///< seconds
  double total = 0;        ///< likewise, of all together

  void add(const Event &event, double seconds); ///< that count of it
};

/// Whether events that come to `totals` break the rule in an input of `frames` frames. A rule of
/// severity info is never broken.
std::optional<BrokenRule> brokenRule(const Rule &rule, const EventTotals &totals,
                                     std::int64_t frames);

/// Sets the verdict and, where there is none, the reason.
void decide(Judgement &judgement, const InputEnd &end);

} // namespace lumagauge::qc

#endif
