// SPDX-License-Identifier: BSD-2-Clause
//
// Pictures that are shown again: at even distances they are how the video came to its rate, at
// uneven ones it stutters.
#ifndef LUMAGAUGE_QC_JUDGE_CADENCE_H
#define LUMAGAUGE_QC_JUDGE_CADENCE_H

#include "qc/judge/judgement.h"

#include <span>

namespace lumagauge::qc {

/// Which frames of some in a row show the picture before once more.
struct Repeats {
  std::vector<bool> isRepeat; ///< by frame
  std::vector<bool> isHitch;  ///< by frame: repeats of a run much longer than the others around
  std::size_t count = 0;      ///< of repeats
  /// From one to the next but one the runs of repeats keep their distance, but for a few: that is
  /// how pictures of a steady rate are shown at a higher one.
  bool areEven = false;
};

/// From the still share of frames in a row, of one shot; NaN where there is none. A stretch of more
/// than a fifth of a second is a freeze or a picture at rest and no repeat; where hardly anything
/// moves there is none.
Repeats findRepeats(std::span<const double> stillShare, double frameTime);

/// Finds the cadence of a video as its frames come. Keeps the values of two seconds.
class CadenceFinder {
public:
  explicit CadenceFinder(double rate);
  void add(const FrameRecord &record);
  std::optional<Cadence> finish(); ///< the last call

private:
  void look();

  double frameTime;
  std::size_t windowFrames;
  std::vector<double> window; ///< still share of the last frames, of one shot
  std::int64_t shot = 0;
  std::int64_t frames = 0;             ///< in windows in which something moves
  std::int64_t even = 0;               ///< of these, in windows with repeats at even distances
  double evenFrames = 0, pictures = 0; ///< from the first to the last repeat of these windows
  double least = 0, most = 0;          ///< frames a picture, in these windows
};

} // namespace lumagauge::qc

#endif
