// SPDX-License-Identifier: BSD-2-Clause
//
// What is concluded from the records of one input: summaries, events, verdict. Reports print it.
#ifndef LUMAGAUGE_QC_JUDGE_JUDGEMENT_H
#define LUMAGAUGE_QC_JUDGE_JUDGEMENT_H

#include "qc/record.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumagauge::qc {

/// One indicator over all frames that have a value for it; NaN values are counted apart.
struct IndicatorSummary {
  std::int64_t count = 0; ///< frames with a value that is a number (infinities included)
  std::int64_t nan = 0;
  double mean = 0, min = 0, p5 = 0, median = 0, p95 = 0, max = 0; ///< meaningful when count > 0
  std::int64_t worstFrame = 0; ///< by the direction in which this indicator gets worse
  double worstTime = 0;
};

enum class Severity { info, warn, fail };

/// A stretch of frames on which a rule holds.
struct Event {
  std::string kind;
  Severity severity = Severity::info;
  std::int64_t startFrame = 0, endFrame = 0; ///< both included
  double startTime = 0, endTime = 0; ///< seconds; the end is that of the last frame's display
  std::int64_t frames = 0;           ///< frames on which the rule held
  double worst = 0;                  ///< worst value of the rule's indicator
};

/// A profile's limit that the input does not keep.
struct BrokenRule {
  std::string kind;
  Severity severity = Severity::fail;
  std::string reason; ///< a sentence: what was found and what is allowed
};

enum class Verdict { pass, warn, fail, unmeasured };

struct Judgement {
  std::array<IndicatorSummary, INDICATORS> summaries;
  std::vector<Event> events; ///< by start time
  std::vector<BrokenRule> broken;
  Verdict verdict = Verdict::pass;
  std::int64_t frames = 0;
};

} // namespace lumagauge::qc

#endif
