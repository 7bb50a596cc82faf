// SPDX-License-Identifier: BSD-2-Clause
//
// Records made by hand, and what a judge says of them: 90 frames at 30 a second, faults on frames
// 30 to 59, unless a test says otherwise.
#ifndef LUMAGAUGE_TESTS_QC_RECORDS_H
#define LUMAGAUGE_TESTS_QC_RECORDS_H

#include "qc/judge/judge.h"

#include <fmt/format.h>

namespace lumagauge::qc {

using I = Indicator;
using Values = std::vector<std::pair<Indicator, double>>;

/// A frame that nobody would object to.
inline FrameRecord ordinary(std::int64_t frame, double rate) {
  FrameRecord record{.frame = frame, .time = static_cast<double>(frame) / rate, .values = {}};
  unsigned i = 0; // of all but flickering
  for (const double value :
       {1.0, 50.0, 0.0, 0.0, 0.5, 3.0, 5.0, 0.0, 0.0, 120.0, 40.0, 0.001, 0.3, 2.0})
    record.values[static_cast<Indicator>(i++)] = value;
  i = static_cast<unsigned>(I::barTop);
  for (const double value :
       {0., 0., 0., 0., 0., 0., 0.1, 0.5, 0., 0., 0., 0.02, 0.4, 1.0, 120.0, 0.})
    record.values[static_cast<Indicator>(i++)] = value;
  return record;
}

inline Judgement judge(const Profile &profile, const std::vector<FrameRecord> &records, double rate,
                       const InputEnd &end = {}) {
  InputInfo info;
  info.averageRate = rate;
  Judge judge(profile, info);
  for (const FrameRecord &record : records)
    judge.add(record);
  return judge.finish(end);
}

inline std::vector<FrameRecord> withFault(const Values &values) {
  std::vector<FrameRecord> records;
  for (std::int64_t frame = 0; frame < 90; ++frame) {
    records.push_back(ordinary(frame, 30));
    if (frame >= 30 && frame < 60)
      for (const auto &[indicator, value] : values)
        records.back()[indicator] = value;
  }
  return records;
}

/// "kind first-last start-end" of each event, times in milliseconds.
inline std::string eventsText(const Judgement &judgement) {
  std::string text;
  for (const Event &e : judgement.events)
    text += fmt::format("{}{} {}-{} {:.0f}-{:.0f}", text.empty() ? "" : ", ", e.kind, e.startFrame,
                        e.endFrame, e.startTime * 1000, e.endTime * 1000);
  return text;
}

} // namespace lumagauge::qc

#endif
