// SPDX-License-Identifier: BSD-2-Clause
//
// What closes a batch: a table with a line an input, and summary.csv (docs/formats.md).
#ifndef LUMAGAUGE_QC_REPORT_BATCH_H
#define LUMAGAUGE_QC_REPORT_BATCH_H

#include "qc/judge/judgement.h"

#include <filesystem>
#include <ostream>

namespace lumagauge::qc {

struct BatchRow {
  std::string path;
  std::string name = {}; ///< of the result files, without their endings
  Verdict verdict = Verdict::unmeasured;
  std::string reason; ///< why unmeasured
  std::int64_t frames = 0;
  double duration = 0; ///< seconds
  std::int64_t events = 0;
  std::size_t rules = 0;                                      ///< of the profile
  std::vector<std::string> broken;                            ///< kinds, in the profile's order
  std::vector<std::string> notJudged = {};                    ///< likewise
  std::array<std::optional<double>, INDICATOR_COUNT> means{}; ///< empty: no value
  bool resumed = false; ///< the result is that of an earlier run
};

BatchRow batchRow(const std::string &path, const Judgement &judgement);
/// `notBegun` inputs were left out because the run was interrupted. With `onlyWorst` the lines of
/// inputs that passed or are warned of are left out, and of the last line nothing.
void printBatchTable(std::ostream &stream, const std::vector<BatchRow> &rows,
                     std::size_t notBegun = 0, bool onlyWorst = false);
/// Writes or replaces summary.csv. The rows that it holds of other results stay, also those that
/// another run adds at the same time. Throws OutputError.
void writeSummary(const std::filesystem::path &folder, const std::vector<BatchRow> &rows);
/// The same with these rows alone.
void replaceSummary(const std::filesystem::path &folder, const std::vector<BatchRow> &rows);

} // namespace lumagauge::qc

#endif
