// SPDX-License-Identifier: BSD-2-Clause
//
// The two reports of the `lumagauge` command: a header and a row a frame, on the console and in the
// results file. The same sixteen columns, in layouts of their own that other programs parse to the
// byte.
#ifndef LUMAGAUGE_INDICATORS_REPORT_H
#define LUMAGAUGE_INDICATORS_REPORT_H

#include "indicators/report_stream.h"
#include "indicators/routines.h"

#include <cstdint>

namespace lumagauge {

/// Everything in a frame's row.
struct FrameRow {
  std::int32_t frame; ///< counted from the first frame of the file
  FrameResults results;
  double temporalActivity;
  std::uint8_t freezing;
  double flickering;
};

/// Print the header in both reports; where the results file is not open, a message on the console
/// says so.
void printReportHeaders(Reports &reports);
void printReportRows(const FrameRow &row, Reports &reports);

} // namespace lumagauge

#endif
