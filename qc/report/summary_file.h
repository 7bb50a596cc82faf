// SPDX-License-Identifier: BSD-2-Clause
//
// summary.csv read back.
#ifndef LUMAGAUGE_QC_REPORT_SUMMARY_FILE_H
#define LUMAGAUGE_QC_REPORT_SUMMARY_FILE_H

#include <filesystem>
#include <string>
#include <vector>

namespace lumagauge::qc {

/// A row as the file spells it, but for the name, which is that of the files.
struct SummaryRow {
  std::string input, name, verdict, frames, duration, events, reason;
};

/// The folder's rows; none where there is no summary or one of other columns. Throws OutputError
/// where it cannot be read.
std::vector<SummaryRow> readSummary(const std::filesystem::path &folder);

} // namespace lumagauge::qc

#endif
