// SPDX-License-Identifier: BSD-2-Clause
//
// The judgement of a part of a stream that never ends.
#ifndef LUMAGAUGE_QC_JUDGE_STRETCH_H
#define LUMAGAUGE_QC_JUDGE_STRETCH_H

#include "qc/judge/cadence.h"
#include "qc/judge/not_judged.h"
#include "qc/judge/summary.h"
#include "qc/judge/verdict.h"

namespace lumagauge::qc {

/// Judges some frames in a row as if they were an input of their own. Keeps 8 bytes per measured
/// indicator and frame, and the events and errors of its frames.
class Stretch {
public:
  /// `profile` must outlive it.
  Stretch(const Profile &profile, const InputInfo &info, std::uint32_t measured);

  void add(const FrameRecord &record);
  /// An event, of rule number `rule`, that ended; `heldBefore` of its frames are ahead of this
  /// stretch.
  void add(std::size_t rule, const Event &event, std::int64_t heldBefore);
  /// After all events, those still open among them: the last call.
  Judgement finish(const InputEnd &end);

  bool isEmpty() const { return shape.frames == 0; }

private:
  const Profile *profile;
  MeasuredShape shape;
  double frameTime;
  double startTime = 0, endTime = 0;
  std::int64_t firstFrame = 0;
  Summarizer summarizer;
  ShotSummarizer shots;
  CadenceFinder cadence;
  std::vector<std::vector<Event>> events; ///< by rule
  std::vector<EventTotals> totals;        ///< likewise
};

} // namespace lumagauge::qc

#endif
