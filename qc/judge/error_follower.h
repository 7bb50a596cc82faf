// SPDX-License-Identifier: BSD-2-Clause
//
// The events of decode errors while the frames come.
#ifndef LUMAGAUGE_QC_JUDGE_ERROR_FOLLOWER_H
#define LUMAGAUGE_QC_JUDGE_ERROR_FOLLOWER_H

#include "qc/judge/error_events.h"

#include <deque>
#include <memory>

namespace lumagauge::qc {

/// Follows the rules on decode errors through frames that carry news of them. Frames wait until all
/// errors ahead of them are told.
class ErrorFollower {
public:
  /// `profile` must outlive it; `rate` in frames a second.
  ErrorFollower(const Profile &profile, double rate);

  void add(const FrameRecord &record);
  /// No further frame comes; `late` are the errors that were not told with frames.
  void finish(const std::vector<DecodeError> &late);

  /// That of the rule of this number; null where it is not on decode errors.
  Tracker *trackerOf(std::size_t rule) const { return trackers[rule].get(); }

private:
  void settle(const ConcealmentTracker::Shown &shown);

  double frameTime;
  std::vector<std::unique_ptr<Tracker>> trackers; ///< by rule
  std::vector<LossTracker *> losses;              ///< those of `trackers`
  ConcealmentTracker *concealment = nullptr;      ///< likewise
  std::deque<ConcealmentTracker::Shown> frames;   ///< that wait
  std::vector<DecodeError> errors;                ///< likewise
  bool knowsIntra = false;
};

} // namespace lumagauge::qc

#endif
