// SPDX-License-Identifier: BSD-2-Clause
//
// What closes a batch: a table with a line an input, and summary.csv (docs/formats.md).
#ifndef LUMAGAUGE_QC_REPORT_BATCH_H
#define LUMAGAUGE_QC_REPORT_BATCH_H

#include "qc/judge/judgement.h"

#include <ostream>

namespace lumagauge::qc {

struct BatchRow {
  std::string path;
  Verdict verdict = Verdict::unmeasured;
  std::string reason; ///< why unmeasured
  std::int64_t frames = 0;
  double duration = 0; ///< seconds
  std::int64_t events = 0;
  std::vector<std::string> broken;                            ///< kinds, in the profile's order
  std::array<std::optional<double>, INDICATOR_COUNT> means{}; ///< empty: no value
  bool resumed = false; ///< the result is that of an earlier run
};

BatchRow batchRow(const std::string &path, const Judgement &judgement);
void printBatchTable(std::ostream &stream, const std::vector<BatchRow> &rows);
void writeBatchCsv(std::ostream &stream, const std::vector<BatchRow> &rows);

} // namespace lumagauge::qc

#endif
