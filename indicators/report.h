// SPDX-License-Identifier: BSD-2-Clause
//
// The two reports of the `lumagauge` command: a header and a row a frame, on the console and in the
// results file. The same sixteen columns, in layouts of their own that other programs parse to the
// byte.
#ifndef LUMAGAUGE_INDICATORS_REPORT_H
#define LUMAGAUGE_INDICATORS_REPORT_H

#include "indicators/routines.h"

#include <cstdint>
#include <cstdio>

namespace lumagauge {

/// Everything in a frame's row.
struct FrameRow {
  std::int32_t frame; ///< counted from the first frame of the file
  FrameResults results;
  double temporalActivity;
  std::uint8_t freezing;
  double flickering;
};

/// Write the header on standard output and, unless `resultsFile` is null, in the results file;
/// without one a message says so. Write errors are not looked at.
void printReportHeaders(std::FILE *resultsFile);
void printReportRows(const FrameRow &row, std::FILE *resultsFile);

} // namespace lumagauge

#endif
