// SPDX-License-Identifier: BSD-2-Clause
//
// The summary of each indicator over all frames.
#ifndef LUMAGAUGE_QC_JUDGE_SUMMARY_H
#define LUMAGAUGE_QC_JUDGE_SUMMARY_H

#include "qc/judge/judgement.h"
#include "qc/judge/signals.h"

namespace lumagauge::qc {

class Summarizer {
public:
  /// Takes 8 bytes a value.
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

/// Gathers the shots of the frames that it is given in order.
class ShotSummarizer {
public:
  explicit ShotSummarizer(double rate) : frameTime(1 / rate) {}
  void add(const FrameRecord &record);
  std::vector<Shot> finish(); ///< the last call

private:
  void close();

  double frameTime; ///< seconds that the last frame is shown
  double lastTime = 0;
  std::vector<Shot> shots;
  std::int64_t number = 0; ///< of the last one in `shots`
  std::array<std::int64_t, INDICATOR_COUNT> counts{};
};

} // namespace lumagauge::qc

#endif
