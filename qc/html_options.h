// SPDX-License-Identifier: BSD-2-Clause
//
// The options of the picture report.
#ifndef LUMAGAUGE_QC_HTML_OPTIONS_H
#define LUMAGAUGE_QC_HTML_OPTIONS_H

#include "qc/options.h"

namespace CLI {
class App;
}

namespace lumagauge::qc {

/// `value` takes what stands behind --html.
void addHtmlOptions(CLI::App &app, Options &options, std::string &value);
/// Of an option whose value may be left out, CLI11 takes the word behind it for the value. With -o
/// there is none, so that word is an input; without, a page's name shows that no video is replaced.
/// Throws CLI::ValidationError where the options do not go together.
void understandHtml(const CLI::App &app, const std::string &value, Options &options);

} // namespace lumagauge::qc

#endif
