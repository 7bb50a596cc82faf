// SPDX-License-Identifier: BSD-2-Clause
//
// The summary of each indicator over all frames.
#ifndef LUMAGAUGE_QC_JUDGE_SUMMARY_H
#define LUMAGAUGE_QC_JUDGE_SUMMARY_H

#include "qc/judge/judgement.h"

namespace lumagauge::qc {

class Summarizer {
public:
  void add(const FrameRecord &record);
  /// Sorts what it holds: the last call.
  std::array<IndicatorSummary, INDICATOR_COUNT> finish();

private:
  struct IndicatorValues {
    std::vector<double> numbers; ///< in frame order; exact percentiles need them all
    IndicatorSummary summary;
    double worst = 0;
  };
  std::array<IndicatorValues, INDICATOR_COUNT> indicators;
};

} // namespace lumagauge::qc

#endif
