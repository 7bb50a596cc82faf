// SPDX-License-Identifier: BSD-2-Clause
//
// The names of the files of --output.
#ifndef LUMAGAUGE_QC_REPORT_OUTPUT_H
#define LUMAGAUGE_QC_REPORT_OUTPUT_H

#include "qc/source/part_source.h"

#include <string>
#include <vector>

namespace lumagauge::qc {

/// The NAMEs of the batch's own files, summary.csv and index.html.
constexpr const char *SUMMARY_NAME = "summary", *INDEX_NAME = "index";

/// The NAME of each input's NAME.csv, NAME.json and NAME.html, in the order of `inputs`: the file
/// name with its extension, "stdin" for "-". Inputs of one file name, whatever their order, get a
/// hash of their absolute path appended, so that a name never depends on the order and seldom on
/// what else is in the batch. The same path twice gets the same name twice.
std::vector<std::string> outputNames(const std::vector<std::string> &inputs);

/// The NAME of an input of a plan: always with the hash of its absolute path, so that it depends on
/// nothing else and stays when later plans have other inputs.
std::string lastingName(const std::string &input);

/// "A:B", "A:" for a range to the end.
std::string rangeText(const FrameRange &range);
/// The NAME of a part of the input of that NAME.
std::string partName(const std::string &name, const FrameRange &range);
/// The reverse; the name itself where it is none of the range.
std::string wholeName(const std::string &name, const FrameRange &range);
/// The NAME of the whole where the name has the form of a part's, else empty.
std::string wholeName(const std::string &name);

} // namespace lumagauge::qc

#endif
