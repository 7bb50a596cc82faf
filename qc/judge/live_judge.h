// SPDX-License-Identifier: BSD-2-Clause
//
// The judging of a stream that never ends: what Judge finds in a whole input, told as soon as it is
// known and then forgotten.
#ifndef LUMAGAUGE_QC_JUDGE_LIVE_JUDGE_H
#define LUMAGAUGE_QC_JUDGE_LIVE_JUDGE_H

#include "qc/judge/profile.h"
#include "qc/judge/verdict.h"

#include <functional>
#include <memory>

namespace lumagauge::qc {

/// The kind of event that a stretch is from which no picture arrived. It is judged with the
/// severity of the rule "missing".
constexpr std::string_view SIGNAL_LOST = "signal_lost";

enum class Change {
  opened,   ///< the rule has held for its least duration
  raised,   ///< the event has become longer than its rule allows
  closed,   ///< it has ended
  withdrawn ///< another event, which was known later, tells it
};

struct EventChange {
  Change change;
  std::int64_t id; ///< of the event, from 1
  Event event;     ///< as far as it is known; its severity is the rule's where it alone breaks it
  std::string reason; ///< of a lost signal, and what tells a withdrawn event
  double waited = 0;  ///< for a lost signal, seconds of the wall clock
};

/// The judgement of the frames of one window.
struct WindowJudgement {
  std::int64_t number = 0;   ///< windows of `length` seconds since the first picture of the run
  double start = 0, end = 0; ///< seconds
  bool isComplete = false;   ///< false where the run ended inside
  Judgement judgement;       ///< events in it, also those that are open at its end
};

/// What there is to say of the whole run.
struct LiveTotals {
  std::int64_t frames = 0;
  double duration = 0;                   ///< seconds that they are displayed for
  double lastTime = 0;                   ///< seconds, of the last frame
  std::int64_t windows = 0;              ///< that had a frame
  Verdict verdict = Verdict::unmeasured; ///< the worst of the windows
  struct OfRule {
    EventTotals events;             ///< that have ended
    bool isOpen = false;            ///< there is one now
    std::int64_t brokenWindows = 0; ///< in which it was broken
  };
  std::vector<OfRule> rules; ///< in the order of LiveJudge::profile
};

struct LiveSinks {
  std::function<void(const EventChange &)> event;
  std::function<void(const WindowJudgement &)> window;
};

/// Judges what comes from one input over any number of connections. Keeps the values of a window,
/// and of the part where one is open, and nothing else that grows.
class LiveJudge {
public:
  /// `windowSeconds` is above 0.
  LiveJudge(const Profile &profile, double windowSeconds, LiveSinks sinks);
  ~LiveJudge();

  /// The rules with the one of lost signals.
  const Profile &profile() const;

  /// A connection is there; records are its own from now on. Frame numbers and times go on rising.
  void connect(const InputInfo &info, std::uint32_t measured);
  void add(const FrameRecord &record);
  /// The connection is over: events that are open end with the last frame.
  void disconnect(const InputEnd &end);

  /// `time` as frames have it; `waited` in seconds of the wall clock.
  void signalLost(double time, const std::string &reason, double waited);
  void signalBack(double time, double waited);

  /// A part is judged beside the windows, from the next frame on. Within a connection.
  void beginPart();
  Judgement endPart(const InputEnd &end);

  const LiveTotals &totals() const;
  /// After the last connection: closes the window that is open, and a lost signal, which has been
  /// waited for so long.
  const LiveTotals &finish(double waited);

private:
  struct State;
  std::unique_ptr<State> state;
};

} // namespace lumagauge::qc

#endif
