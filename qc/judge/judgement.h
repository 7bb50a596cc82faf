// SPDX-License-Identifier: BSD-2-Clause
//
// What is concluded from the records of one input: summaries, events, verdict. Reports print it.
#ifndef LUMAGAUGE_QC_JUDGE_JUDGEMENT_H
#define LUMAGAUGE_QC_JUDGE_JUDGEMENT_H

#include "qc/record.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumagauge::qc {

/// One indicator over all frames that have a value for it; NaN values are counted apart. The
/// percentiles are exact, interpolated linearly between neighbours as numpy, pandas and R do.
struct IndicatorSummary {
  std::int64_t count = 0; ///< frames with a value that is a number (infinities included)
  std::int64_t nan = 0;
  double mean = 0, min = 0, p5 = 0, median = 0, p95 = 0, max = 0; ///< meaningful when count > 0
  std::int64_t worstFrame = 0; ///< by the direction in which this indicator gets worse
  double worstTime = 0;
};

/// A stretch of the video without a cut.
struct Shot {
  std::int64_t startFrame = 0, endFrame = 0; ///< both included
  double startTime = 0, endTime = 0; ///< seconds; the end is that of the last frame's display
  /// Over the frames that have a value that is a number; empty where none has.
  std::array<std::optional<double>, INDICATOR_COUNT> means;
};

/// Pictures of a lower rate that are shown again at even distances: a property, not a fault.
struct Cadence {
  double framesPerPicture = 1; ///< on average: 2.5 where 24 pictures make 60 frames
  double rate = 0;             ///< pictures a second
};

enum class Severity { info, warn, fail };

/// A stretch of frames on which a rule holds.
struct Event {
  std::string kind;
  Severity severity = Severity::info;        ///< the rule's where the rule is broken, else info
  std::int64_t startFrame = 0, endFrame = 0; ///< both included
  double startTime = 0, endTime = 0; ///< seconds; the end is that of the last frame's display
  std::int64_t frames = 0; ///< frames on which the rule held; undecodable: errors; missing: so many
  std::optional<double> worst; ///< worst value of the rule's indicator; of decode errors none
  std::string text = {};       ///< of bars: how wide they are and which shape they leave
  std::optional<std::int64_t> worstFrame = {}; ///< the first one with that value
};

/// Told of each frame when the rules have looked at it, some seconds behind the last one added,
/// with the stretches that are going on there and may become events.
using FrameObserver =
    std::function<void(std::int64_t frame, const std::vector<const Event *> &open)>;

/// A profile's limit that the input does not keep.
struct BrokenRule {
  std::string kind;
  Severity severity = Severity::fail;
  std::string reason; ///< a sentence: what was found and what is allowed
};

/// A rule that there was nothing for to look at.
struct NotJudged {
  std::string kind;
  std::string reason; ///< "not requested", "pictures of 176x144 are too small for block loss", ...
};

enum class Verdict { pass, warn, fail, unmeasured };

struct Judgement {
  std::array<IndicatorSummary, INDICATOR_COUNT> summaries;
  std::vector<Shot> shots;
  std::optional<Cadence> cadence; ///< where the video keeps one
  std::vector<Event> events;      ///< by start time
  std::vector<BrokenRule> broken;
  std::vector<NotJudged> notJudged; ///< whose indicator has no value at all
  std::size_t rules = 0;            ///< of the profile, these among them
  Verdict verdict = Verdict::pass;
  std::string reason;          ///< why the input is unmeasured
  std::int64_t firstFrame = 0; ///< of those measured
  std::int64_t frames = 0;     ///< measured
  double duration = 0;         ///< seconds that the measured frames are displayed for
};

/// 0: measured, no rule of severity fail broken; 1: such a rule is broken; 2: not measured, or the
/// result is doubtful. The status of a batch is the largest of its inputs.
int exitStatus(Verdict verdict);

std::string_view severityName(Severity severity); ///< "info", "warn", "fail"
std::string_view verdictName(Verdict verdict);    ///< "pass", "warn", "fail", "unmeasured"

} // namespace lumagauge::qc

#endif
