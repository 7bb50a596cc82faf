// SPDX-License-Identifier: BSD-2-Clause
//
// What a result says of its input as a whole. Files of hours are read in the time of a few pages.
#ifndef LUMAGAUGE_QC_LIBRARY_RESULT_READER_H
#define LUMAGAUGE_QC_LIBRARY_RESULT_READER_H

#include "qc/report/json_text.h"

#include <filesystem>

namespace lumagauge::qc {

/// Reads one NAME.json after another.
class ResultReader {
public:
  /// The document without `frames` and `shots`; a discarded value where the file cannot be read or
  /// is no JSON.
  Json read(const std::filesystem::path &path);

private:
  Json parse(const std::string &text);

  std::string profileText; ///< of the last result, whose profile most others share
  Json profile;
};

} // namespace lumagauge::qc

#endif
