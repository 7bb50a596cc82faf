// SPDX-License-Identifier: BSD-2-Clause
#include "indicators/report.h"

namespace lumagauge {

namespace {

constexpr char CONSOLE_HEADER[] =
    "Frame: \tBlockiness: \tSpatial Activity: \tLetterbox: \tPillarbox: \tBlockloss: \tBlur: "
    "\t\tTemporalAct: \tBlackout: \tFreezing: \tExposure(bri): \tContrast: \tInterlace: \tNoise: "
    "\t\tSlice: \t\tFlickering:\n";
constexpr char FILE_HEADER[] =
    "Frame: \tBlockiness: \tSA: \tLetterbox: \tPillarbox: \tBlockloss: \tBlur: \tTA: \tBlackout: "
    "\tFreezing: \tExposure(bri): \tContrast: \tInterlace: \tNoise: \tSlice: \tFlickering:\n";

constexpr char CONSOLE_ROW[] =
    "%05i \t%-5.5f \t%-5.5f \t\t%-5.5f \t%-5.5f \t%-5.5f \t%-7.3f \t%-5.5f \t%-d \t\t%-d \t\t%-6i "
    "\t\t%-5.5f \t%-5.5f \t%-8.2f \t%-7.3f \t%-5.5f\n";
constexpr char FILE_ROW[] =
    "%05i \t%-5.5f \t%-5.5f \t%-5.5f \t%-5.5f \t%-5.5f \t%-5.3f \t%-5.5f \t%-d \t%-d \t%-6i "
    "\t%-5.5f \t%-5.5f \t%-8.4f \t%-7.3f \t%-5.5f\n";

void printRow(ReportStream &report, const char *format, const FrameRow &row) {
  const FrameResults &r = row.results;
  report.print(row.frame, format, row.frame, r.blockiness, r.spatialActivity, r.letterbox,
               r.pillarbox, r.blockLoss, r.blur, row.temporalActivity, static_cast<int>(r.blackout),
               static_cast<int>(row.freezing), static_cast<int>(r.exposure), r.contrast,
               r.interlace, r.noise, r.slice, row.flickering);
}

} // namespace

void printReportHeaders(Reports &reports) {
  reports.console.print(ReportStream::HEAD, "%s", CONSOLE_HEADER);
  reports.results.print(ReportStream::HEAD, "%s", FILE_HEADER);
  if (!reports.results.isOpen())
    reports.console.print(ReportStream::HEAD, "\n\n Could not create a log file\n\n");
}

void printReportRows(const FrameRow &row, Reports &reports) {
  printRow(reports.console, CONSOLE_ROW, row);
  printRow(reports.results, FILE_ROW, row);
}

} // namespace lumagauge
