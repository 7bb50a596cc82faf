// SPDX-License-Identifier: BSD-2-Clause
//
// The pages of the picture report, which the build makes of qc/report/page and puts into the
// executable, so that it needs no data files.
#ifndef LUMAGAUGE_QC_REPORT_PAGE_H
#define LUMAGAUGE_QC_REPORT_PAGE_H

#include <string_view>

namespace lumagauge::qc {

/// Whole pages with PAGE_MARKER once where the data belong; empty in a build without them.
extern const std::string_view REPORT_PAGE, INDEX_PAGE;
constexpr std::string_view PAGE_MARKER = "<!--LUMAGAUGE-DATA-->";

inline bool hasPages() {
  return !REPORT_PAGE.empty();
}

} // namespace lumagauge::qc

#endif
