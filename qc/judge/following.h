// SPDX-License-Identifier: BSD-2-Clause
//
// The rules of a profile over frames as they come: what the judging of a whole input and that of a
// stream that never ends have in common.
#ifndef LUMAGAUGE_QC_JUDGE_FOLLOWING_H
#define LUMAGAUGE_QC_JUDGE_FOLLOWING_H

#include "qc/judge/events.h"

namespace lumagauge::qc {

/// Frames a second, for the display of a frame that none follows.
double rateOf(const InputInfo &info);

class Following {
public:
  /// The rules that look at the neighbours of a frame follow Timeline::LOOK_AHEAD behind the last
  /// one; the others go ahead of them, or with them. Events are the same.
  enum class Pace { asSoonAsKnown, together };

  /// `profile` must outlive it.
  Following(const Profile &profile, const InputInfo &info, Pace pace);
  /// Where the rules go together.
  void observe(FrameObserver told) { observer = std::move(told); }

  /// The next record, in the order of the frames.
  void add(const FrameRecord &record);
  /// No further frame comes: events that are still open end with the last one's display.
  void finish();

  /// One a rule of the profile, in its order.
  std::vector<EventTracker> &trackers() { return all; }
  /// The last frame that all rules have been given; -1 ahead of the first.
  std::int64_t followed() const { return lastFollowed; }

private:
  void follow();
  void tellObserver() const;

  std::vector<EventTracker> all;
  std::vector<bool> isPrompt; ///< of `all`: looks at plain values alone
  Timeline prompt, context;
  FrameObserver observer;
  std::int64_t lastFollowed = -1;
};

} // namespace lumagauge::qc

#endif
