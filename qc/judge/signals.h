// SPDX-License-Identifier: BSD-2-Clause
//
// Values in their context: what rules look at. A signal is an indicator as it was measured, or what
// its neighbours in time make of it; docs/profiles.md has the formulas, which want nothing but the
// rows of the CSV.
#ifndef LUMAGAUGE_QC_JUDGE_SIGNALS_H
#define LUMAGAUGE_QC_JUDGE_SIGNALS_H

#include "qc/record.h"

#include <deque>
#include <utility>
#include <vector>

namespace lumagauge::qc {

enum class View {
  value,         ///< "blur": as measured
  baseline,      ///< "blur.baseline": what the shot shows around the frame where it is good
  rise,          ///< "blur.rise": value - baseline
  ratio,         ///< "blur.ratio": value / baseline
  toBefore,      ///< "blur.to_before": value / median of the quarter of a second before
  toAfter,       ///< "blur.to_after": value / median of the quarter of a second behind
  alternation,   ///< "blur.alternation": how far the values swing to and fro around the frame
  repeats,       ///< "still_share.repeats": repeated frames at uneven places around this one
  envelopeRatio, ///< "blur.envelope_ratio": worst of each half second / its usual one
  drawn,         ///< "drawn", of the shot: 1 and more for drawings, titles and screens
};

struct Signal {
  Indicator indicator = Indicator::blockiness;
  View view = View::value;
};

/// "blur", "blur.ratio", "drawn"; empty where the text names no signal.
std::optional<Signal> parseSignal(std::string_view text);
std::string signalName(Signal signal);
/// What the signal is made of.
std::vector<Indicator> indicatorsOf(Signal signal);
/// What may stand behind an indicator's name, as messages list it.
std::string viewNames();

/// A frame and how long it is shown.
struct TimedRecord {
  FrameRecord record;
  double displayEnd = 0; ///< seconds
};

/// The frames around one frame: from BASELINE_PAST before it to LOOK_AHEAD behind it.
class Timeline {
public:
  static constexpr double BASELINE_PAST = 8, LOOK_AHEAD = 2; ///< seconds
  /// The least that is seen ahead, whatever the rate: flickering has a value once in so many.
  static constexpr std::size_t LEAST_AHEAD = FLICKERING_PERIOD;
  /// Bounds memory and time where frames come at an absurd rate.
  static constexpr std::size_t MOST_AHEAD = 600, MOST_PAST = 1200;

  enum class Sight {
    context, ///< all around: every view has its value
    frame    ///< only the frame behind: for plain values, which need no waiting
  };

  /// `rate` in frames a second: how long the last frame is shown.
  explicit Timeline(double rate, Sight range = Sight::context)
      : frameTime(1.0 / rate), sight(range) {}

  void add(FrameRecord record);
  /// No further frame comes.
  void finish() { complete = true; }
  /// Moves on to the next frame; false where that has to wait for frames that are still to come, or
  /// after the last one.
  bool advance();

  const TimedRecord &current() const { return frames[position]; }
  /// The signal at the current frame; empty where there is no value or too little to compare it
  /// with.
  std::optional<double> operator[](Signal signal) const;

private:
  /// The numbers that an indicator has on some frames in a row of one shot, sorted. Moves along
  /// with the current frame, as sorting anew for every frame and rule would cost more than
  /// measuring.
  struct Window {
    std::int64_t begin = 0, end = 0; ///< of its frames, counted from the first one added
    std::vector<double> sorted;

    void include(const std::optional<double> &value);
    void exclude(const std::optional<double> &value);
  };

  bool isSeenAhead(std::size_t index) const;
  void forgetFirst();
  bool isInShot(std::size_t index) const;
  const std::vector<double> &shotValues(Indicator indicator) const;
  std::optional<double> baseline(Indicator indicator) const;
  /// The value that `share` of the shot's are below, as far as it is seen.
  std::optional<double> quantile(Indicator indicator, double share) const;
  std::optional<double> drawn() const;
  std::optional<double> beside(Indicator indicator, bool before) const;
  /// The frames of the shot up to `reach` seconds from the current one: the first, and behind the
  /// last.
  std::pair<std::size_t, std::size_t> framesWithin(double reach) const;
  std::optional<double> alternation(Indicator indicator) const;
  std::optional<double> envelopeRatio(Indicator indicator) const;
  std::optional<double> repeats(Indicator indicator) const;

  double frameTime;
  Sight sight;
  std::deque<TimedRecord> frames;
  std::int64_t forgotten = 0; ///< frames that were added before the first of these
  std::size_t position = 0;
  std::int64_t shotBegin = 0,
               shotEnd = 0; ///< counted likewise: the current shot as far as it is seen
  bool started = false, complete = false;
  mutable std::array<Window, INDICATOR_COUNT> windows; ///< each as far as it was asked for
};

} // namespace lumagauge::qc

#endif
