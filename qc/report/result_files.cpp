// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/result_files.h"

namespace lumagauge::qc {

ResultFiles::ResultFiles(const ResultPaths &paths, const InputInfo &info, const Settings &settings,
                         const Profile &profile, bool withFrames)
    : csvFile(paths.csv), jsonFile(paths.json), csv(csvFile.stream()),
      json(jsonFile.stream(), info, settings, profile, withFrames) {}

void ResultFiles::add(const FrameRecord &record) {
  csv.add(record);
  json.add(record);
}

void ResultFiles::finish(const InputEnd &end, const Judgement &judgement) {
  json.finish(end, judgement);
  csvFile.commit();
  jsonFile.commit(); // last: where it is, the result is complete
}

} // namespace lumagauge::qc
