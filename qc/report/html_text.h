// SPDX-License-Identifier: BSD-2-Clause
//
// Data in a page, which writing a report and gathering an index share.
#ifndef LUMAGAUGE_QC_REPORT_HTML_TEXT_H
#define LUMAGAUGE_QC_REPORT_HTML_TEXT_H

#include "qc/report/json_text.h"

#include <fstream>

namespace lumagauge::qc {

constexpr std::string_view ROW_SCHEMA = "lumagauge-row-1", INDEX_SCHEMA = "lumagauge-index-1";
constexpr std::string_view ROW_ID = "row";

/// The text of a document as a page holds it: no '<' in it that could end the script or begin
/// another, whatever the strings in it say.
std::string scriptText(const Json &data);
/// `<script type="application/json" id="...">`
std::string scriptStart(std::string_view id);
constexpr std::string_view SCRIPT_END = "</script>";

std::string base64(std::string_view bytes);
/// What a page shows is recognised by: of the document without its frames.
std::string documentDigest(const Json &document);

/// The row of a page: null where the file is no page of a result.
Json rowOfReport(const std::filesystem::path &html);

} // namespace lumagauge::qc

#endif
