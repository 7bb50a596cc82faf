// SPDX-License-Identifier: BSD-2-Clause
//
// Why a rule had nothing to look at.
#ifndef LUMAGAUGE_QC_JUDGE_NOT_JUDGED_H
#define LUMAGAUGE_QC_JUDGE_NOT_JUDGED_H

#include "qc/judge/profile.h"

namespace lumagauge::qc {

/// What decides which values there can be.
struct MeasuredShape {
  std::uint32_t indicators = ALL_INDICATORS; ///< mask of those that were asked for
  std::uint32_t width = 0, height = 0;
  std::int64_t frames = 0;
};

/// Why a rule, which needs values for each of its conditions, cannot be judged; empty where each
/// has some.
std::string lackOfValues(const Rule &rule,
                         const std::array<IndicatorSummary, INDICATOR_COUNT> &summaries,
                         const MeasuredShape &shape);

} // namespace lumagauge::qc

#endif
