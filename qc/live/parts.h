// SPDX-License-Identifier: BSD-2-Clause
//
// The result files of a live run, part after part.
#ifndef LUMAGAUGE_QC_LIVE_PARTS_H
#define LUMAGAUGE_QC_LIVE_PARTS_H

#include "qc/judge/live_judge.h"
#include "qc/report/result_files.h"
#include "qc/run.h"

#include <ctime>
#include <memory>

namespace lumagauge::qc {

/// DIR/NAME-START-NUMBER.csv and .json, START being that of the run in UTC and NUMBER counting its
/// parts from 1. Each pair is a whole result, of the frames in it. What cannot be written is told
/// on standard error; the next part is tried anew.
class Parts {
public:
  /// Nothing is written where the run has no output folder. `run` and `judge` must outlive it.
  Parts(const Run &run, LiveJudge &judge, const std::string &input);

  /// A connection is there.
  void connect(const InputInfo &info);
  /// Ahead of LiveJudge::add.
  void add(const FrameRecord &record);
  /// The connection is over, and LiveJudge knows.
  void disconnect(InputEnd end);

  bool hasFailed() const { return failed; }

private:
  bool isDue(const FrameRecord &record) const;
  void begin(const FrameRecord &record);
  void finish(const InputEnd &end);
  template <class Action> void attempt(const Action &action);

  const Run &run;
  LiveJudge &judge;
  std::string prefix; ///< NAME-START
  InputInfo info;     ///< of the connection
  std::int64_t number = 0;
  bool isOpen = false;                ///< there is a part, if only one that failed
  double beginTime = 0;               ///< seconds, of its first frame
  std::unique_ptr<ResultFiles> files; ///< empty where writing failed
  InputEnd news;                      ///< errors told since the part began
  bool failed = false;
};

} // namespace lumagauge::qc

#endif
