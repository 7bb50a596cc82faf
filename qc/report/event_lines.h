// SPDX-License-Identifier: BSD-2-Clause
//
// --events: what a live run finds, a JSON object a line (docs/lumagauge-events-1.schema.json).
#ifndef LUMAGAUGE_QC_REPORT_EVENT_LINES_H
#define LUMAGAUGE_QC_REPORT_EVENT_LINES_H

#include "qc/judge/live_judge.h"
#include "qc/report/json.h"

#include <string>

namespace lumagauge::qc {

/// Each line is out, with the wall clock's time, when the call that writes it returns. All members
/// throw OutputError.
class EventLines {
public:
  /// Appends to the file, "-" for standard output. Where an earlier run was killed inside a line,
  /// begins a new one.
  explicit EventLines(const std::string &path);
  ~EventLines();
  EventLines(const EventLines &) = delete;
  EventLines &operator=(const EventLines &) = delete;

  void begin(const std::string &input, const Settings &settings, const Profile &profile,
             double window);
  void connected(const InputInfo &info, double time);
  void event(const EventChange &change);
  void window(const WindowJudgement &window);
  struct Ending {
    std::string cause; ///< why the run ends
    Verdict verdict;
    int status; ///< that the command ends with
  };
  void end(const LiveTotals &totals, const Profile &profile, const Ending &ending);

private:
  void write(const std::string &line);

  std::string path;
  int descriptor;
};

/// The wall clock's time in UTC, as "2026-11-23T17:30:00.123Z".
std::string wallTime();

} // namespace lumagauge::qc

#endif
