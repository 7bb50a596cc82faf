// SPDX-License-Identifier: BSD-2-Clause
//
// From errors of decoding to events.
#ifndef LUMAGAUGE_QC_JUDGE_ERROR_EVENTS_H
#define LUMAGAUGE_QC_JUDGE_ERROR_EVENTS_H

#include "qc/judge/events.h"

namespace lumagauge::qc {

/// Follows stretches of which nothing came out, by the rule's kind: undecodable or missing.
class LossTracker : public Tracker {
public:
  LossTracker(const Rule &followed, double rate) : Tracker(followed), frameTime(1 / rate) {}

  /// The next error, by time; those that are not the rule's are left out. `next` is when the frame
  /// behind it is shown, empty where none came. An error that does not state its end lasts until
  /// then, or one frame.
  void add(const DecodeError &error, std::optional<double> next);
  /// No later error begins before `time`.
  void pass(double time);
  void finish();

private:
  bool isCertain() const override;
  bool looksForMissing() const { return rule.kind == kindName(DecodeErrorKind::missing); }
  void close();

  double frameTime;
};

/// Follows stretches that came out although an error lies in them or ahead of them: each lasts
/// until the next I picture, with which decoders begin anew, or ten seconds; one frame where no I
/// picture is known.
class ConcealmentTracker : public Tracker {
public:
  using Tracker::Tracker;

  struct Shown {
    std::int64_t frame;
    double time, displayEnd; ///< seconds
    bool isIntra;            ///< an I picture
  };
  /// The next frame, with the errors that it is the first frame behind.
  void add(const Shown &shown, const std::vector<DecodeError> &errors, bool knowsIntra);
  void finish();

private:
  bool isCertain() const override { return true; }

  std::optional<double> damagedSince; ///< seconds; empty where frames are whole
};

/// When the frames of an input are shown, and where decoding can begin.
struct FrameTimes {
  std::int64_t firstFrame = 0;
  std::vector<double> times;      ///< seconds, of frame `firstFrame` + i
  double end = 0;                 ///< of the last frame's display
  std::vector<std::size_t> intra; ///< i of the I pictures
  double rate = DEFAULT_RATE;     ///< frames a second

  /// Place of the frame in `times`; empty where it is not among them.
  std::optional<std::size_t> indexOf(std::int64_t frame) const;
};

/// All of such events, by the rule's kind.
std::vector<Event> decodeErrorEvents(const Rule &rule, std::vector<DecodeError> errors,
                                     const FrameTimes &frames);
std::vector<Event> concealedEvents(const Rule &rule, const std::vector<DecodeError> &errors,
                                   const FrameTimes &frames);

} // namespace lumagauge::qc

#endif
