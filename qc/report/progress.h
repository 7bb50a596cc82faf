// SPDX-License-Identifier: BSD-2-Clause
//
// Progress of one input on standard error.
#ifndef LUMAGAUGE_QC_REPORT_PROGRESS_H
#define LUMAGAUGE_QC_REPORT_PROGRESS_H

#include "qc/record.h"

#include <chrono>
#include <ostream>

namespace lumagauge::qc {

enum class ProgressMode {
  none,
  plain, ///< a line every few seconds
  bar,   ///< one line that is written over
};

/// Shows how far the measuring of one input is: percent and time left where its frames or its
/// duration are known, the position in the video otherwise; frames a second and speed always.
class Progress {
public:
  using Clock = std::chrono::steady_clock;

  /// `expectedFrames` and `expectedSeconds` are of the part that is measured, `startTime` is where
  /// it begins; the frames count where both are known.
  Progress(std::ostream &stream, ProgressMode mode, std::string label,
           std::optional<std::int64_t> expectedFrames, std::optional<double> expectedSeconds,
           double startTime = 0);
  ~Progress(); ///< clears the bar

  /// After each frame; cheap, writes only when it is time to.
  void update(const FrameRecord &record, Clock::time_point now = Clock::now());

private:
  std::string text(const FrameRecord &record, double elapsed) const;

  std::ostream &stream;
  ProgressMode mode;
  std::string label;
  std::optional<std::int64_t> expectedFrames;
  std::optional<double> expectedSeconds;
  double startTime;
  Clock::time_point started, lastShown;
  std::int64_t frames = 0;
  bool shown = false;
};

} // namespace lumagauge::qc

#endif
