// SPDX-License-Identifier: BSD-2-Clause
//
// What lumagauge-qc prints of one input on standard output.
#ifndef LUMAGAUGE_QC_REPORT_CONSOLE_H
#define LUMAGAUGE_QC_REPORT_CONSOLE_H

#include "qc/judge/judgement.h"

#include <ostream>

namespace lumagauge::qc {

/// The input, the table of the indicators, the events, the verdict; with `quiet` the verdict alone.
/// Of a part of the input it says so.
void printReport(std::ostream &stream, const InputInfo &info, const InputEnd &end,
                 const Judgement &judgement, bool quiet, bool isPart = false);
/// One line: verdict, path, why. Also for an input that could not be opened.
void printVerdict(std::ostream &stream, const std::string &path, const Judgement &judgement);
/// The verdict; where rules were left out that might have spoilt it, with how many were judged:
/// "pass (15 of 17 rules judged)".
std::string verdictText(Verdict verdict, std::size_t judged, std::size_t rules);

/// Seconds as h:mm:ss.mmm, rounded to the millisecond; "-" in front where negative.
std::string clockTime(double seconds);
/// The text on one line and harmless to a terminal: bytes of control characters as \xNN.
std::string printable(std::string_view text);

} // namespace lumagauge::qc

#endif
