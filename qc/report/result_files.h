// SPDX-License-Identifier: BSD-2-Clause
//
// The result files of one input: DIR/NAME.csv and DIR/NAME.json, or DIR/NAME.failure, which says
// why there are none. The page that shows a result, DIR/NAME.html, comes behind them (html.h).
#ifndef LUMAGAUGE_QC_REPORT_RESULT_FILES_H
#define LUMAGAUGE_QC_REPORT_RESULT_FILES_H

#include "qc/report/atomic_file.h"
#include "qc/report/batch.h"
#include "qc/report/csv.h"
#include "qc/report/json.h"
#include "qc/report/output.h"

#include <algorithm>

namespace lumagauge::qc {

struct ResultPaths {
  ResultPaths(const std::filesystem::path &directory, const std::string &name)
      : folder(directory), csv(directory / (name + ".csv")), json(directory / (name + ".json")),
        html(directory / (name + ".html")), failure(directory / (name + ".failure")) {}

  std::filesystem::path folder, csv, json, html, failure;
};

/// Writes both as the frames come. Without `finish` neither appears, and a JSON that is there
/// belongs to the CSV beside it, whose digest it holds. All members throw OutputError.
class ResultFiles {
public:
  /// `identity` is that of the input from before it was opened.
  ResultFiles(const ResultPaths &paths, const InputInfo &info,
              const std::optional<FileIdentity> &identity, const Settings &settings,
              const Profile &profile, bool withFrames);

  /// With the member `input` of a document that is there.
  ResultFiles(const ResultPaths &paths, std::string_view inputMember, const Settings &settings,
              const Profile &profile, bool withFrames);

  void add(const FrameRecord &record);
  void setPart(const PartFacts &facts) { json.setPart(facts); } ///< ahead of `finish`
  /// Also ends an earlier failure. Returns the digest of the CSV.
  ContentDigest finish(const InputEnd &end, const Judgement &judgement);
  /// Bytes of the larger file so far, less what is buffered.
  std::int64_t written() const { return std::max(csvFile.written(), jsonFile.written()); }

private:
  ResultPaths paths;
  AtomicFile csvFile, jsonFile;
  CsvWriter csv;
  JsonWriter json;
};

/// Writes NAME.failure: the input could not be measured. An earlier result stays beside it.
/// `version` is that of the program. Throws OutputError.
void writeFailure(const ResultPaths &paths, const std::string &input, const std::string &reason,
                  const std::string &version);
struct Failure {
  std::string reason, inputPath; ///< the path is empty where it is not told
};
/// What a NAME.failure says; empty where it cannot be read or says no reason.
std::optional<Failure> readFailure(const std::filesystem::path &path);
/// Takes NAME.failure away, if it is there: there is a complete result after it.
void removeFailure(const ResultPaths &paths);

/// The row of the closing table for an input that was measured and whose result is complete and was
/// made from the same file at the same path with the same settings (threads apart) and rules; empty
/// otherwise. For --resume.
std::optional<BatchRow> readCompleteResult(const ResultPaths &paths, const std::string &inputPath,
                                           const Settings &settings, const Profile &profile);

} // namespace lumagauge::qc

#endif
