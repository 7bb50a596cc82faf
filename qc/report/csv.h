// SPDX-License-Identifier: BSD-2-Clause
//
// NAME.csv: a header and a row a frame (docs/formats.md).
#ifndef LUMAGAUGE_QC_REPORT_CSV_H
#define LUMAGAUGE_QC_REPORT_CSV_H

#include "qc/record.h"

#include <ostream>

namespace lumagauge::qc {

class CsvWriter {
public:
  /// Writes the header. `stream` must outlive the writer.
  explicit CsvWriter(std::ostream &stream);
  void add(const FrameRecord &record);

private:
  std::ostream &stream;
};

/// Shortest text that reads back as the same double; NaN, Inf and -Inf as pandas and R read them.
std::string csvNumber(double value);
/// The field as RFC 4180 has it: in quotes where it holds a comma, a quote or a line break.
std::string csvField(std::string_view text);

} // namespace lumagauge::qc

#endif
