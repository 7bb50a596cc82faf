// SPDX-License-Identifier: BSD-2-Clause
//
// From events to the verdict.
#ifndef LUMAGAUGE_QC_JUDGE_VERDICT_H
#define LUMAGAUGE_QC_JUDGE_VERDICT_H

#include "qc/judge/profile.h"

namespace lumagauge::qc {

/// Whether `events`, all of the rule's kind, break it in an input of `frames` frames. A rule of
/// severity info is never broken.
std::optional<BrokenRule> brokenRule(const Rule &rule, const std::vector<Event> &events,
                                     std::int64_t frames);

/// Sets the verdict and, where there is none, the reason.
void decide(Judgement &judgement, const InputEnd &end);

} // namespace lumagauge::qc

#endif
