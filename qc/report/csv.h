// SPDX-License-Identifier: BSD-2-Clause
//
// NAME.csv: a header and a row a frame (docs/formats.md).
#ifndef LUMAGAUGE_QC_REPORT_CSV_H
#define LUMAGAUGE_QC_REPORT_CSV_H

#include "qc/record.h"

#include <functional>
#include <istream>
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

/// Calls `use` for each frame of what a CsvWriter wrote, in order; columns of other names do no
/// harm. Throws std::runtime_error where it is no such text.
void readFrames(std::istream &stream, const std::function<void(const FrameRecord &)> &use);

/// Shortest text that reads back as the same double; NaN, Inf and -Inf as pandas and R read them.
std::string csvNumber(double value);
/// The field as RFC 4180 has it: in quotes where it holds a comma, a quote or a line break.
std::string csvField(std::string_view text);
/// The text in UTF-8, whatever bytes it holds: those that are no UTF-8, and zero bytes, as \xNN,
/// and a backslash as two, so that the bytes can be had back.
std::string escapedText(std::string_view text);
/// The reverse of escapedText. A backslash that it does not write stays as it is.
std::string unescapedText(std::string_view text);
/// The fields of the records of a CSV text, as csvField wrote them.
std::vector<std::vector<std::string>> csvRecords(std::string_view text);

} // namespace lumagauge::qc

#endif
