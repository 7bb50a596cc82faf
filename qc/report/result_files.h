// SPDX-License-Identifier: BSD-2-Clause
//
// The two result files of one input: DIR/NAME.csv and DIR/NAME.json.
#ifndef LUMAGAUGE_QC_REPORT_RESULT_FILES_H
#define LUMAGAUGE_QC_REPORT_RESULT_FILES_H

#include "qc/report/batch.h"
#include "qc/report/csv.h"
#include "qc/report/json.h"
#include "qc/report/output.h"

namespace lumagauge::qc {

struct ResultPaths {
  ResultPaths(const std::filesystem::path &directory, const std::string &name)
      : csv(directory / (name + ".csv")), json(directory / (name + ".json")) {}

  std::filesystem::path csv, json;
};

/// Writes both as the frames come. Without `finish` neither appears.
class ResultFiles {
public:
  /// Throws OutputError, as `finish` does.
  ResultFiles(const ResultPaths &paths, const InputInfo &info, const Settings &settings,
              const Profile &profile, bool withFrames);

  void add(const FrameRecord &record);
  void finish(const InputEnd &end, const Judgement &judgement);

private:
  AtomicFile csvFile, jsonFile;
  CsvWriter csv;
  JsonWriter json;
};

/// The row of the closing table for an input that was measured and whose result is complete, newer
/// than the input, and was made from the same path with the same settings (threads apart) and
/// rules; empty otherwise. For --resume.
std::optional<BatchRow> readCompleteResult(const ResultPaths &paths, const std::string &inputPath,
                                           const Settings &settings, const Profile &profile);

} // namespace lumagauge::qc

#endif
