// SPDX-License-Identifier: BSD-2-Clause
//
// From the records of one input to summaries, events and a verdict.
#ifndef LUMAGAUGE_QC_JUDGE_JUDGE_H
#define LUMAGAUGE_QC_JUDGE_JUDGE_H

#include "qc/judge/profile.h"

#include <functional>
#include <memory>

namespace lumagauge::qc {

/// Judges one input. Keeps 8 bytes per measured indicator and frame, which exact percentiles need
/// (an hour at 50 frames a second with all fifteen: 23 MB), and nothing else that grows with length
/// but the events.
class Judge {
public:
  /// `measured` is the mask of the indicators that the records may have values of.
  Judge(const Profile &profile, const InputInfo &info, std::uint32_t measured = ALL_INDICATORS);
  Judge(Judge &&) noexcept;
  ~Judge();

  void observe(FrameObserver observer);
  /// The next record, in the order of the frames.
  void add(const FrameRecord &record);
  /// After the last record. Events that are still open end with the last frame's display.
  Judgement finish(const InputEnd &end);

private:
  struct State;
  std::unique_ptr<State> state;
};

/// The judgement of an input that could not be opened, or whose measuring failed: `reason` says
/// why.
Judgement unmeasured(std::string reason);

} // namespace lumagauge::qc

#endif
