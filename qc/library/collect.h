// SPDX-License-Identifier: BSD-2-Clause
//
// What is made of all results in a folder, whoever wrote them.
#ifndef LUMAGAUGE_QC_LIBRARY_COLLECT_H
#define LUMAGAUGE_QC_LIBRARY_COLLECT_H

#include "qc/judge/profile.h"
#include "qc/report/batch.h"
#include "qc/source/input_file.h"

#include <filesystem>

namespace lumagauge::qc {

struct Collection {
  std::vector<BatchRow> rows; ///< in the order of the plan, then those of no plan by name
  std::size_t read = 0;       ///< results that were not yet in library.sqlite, or changed since
  std::size_t removed = 0;    ///< that are no longer there
  std::size_t missing = 0;    ///< inputs of the plan without any result
  std::size_t joined = 0;     ///< inputs whose parts made a whole in this run
  bool hasReports = false;    ///< some results have pages that show them
  std::vector<int> openParts; ///< of the plan, in which an input has no complete result
};

/// Brings DIR/library.sqlite up to date with the results in DIR and replaces DIR/summary.csv.
/// `plan` is the path of the plan that was measured, or empty: what of it is missing is then among
/// the rows, unmeasured. Notices tell what is no result or of no input of the plan. Throws
/// InputError, LibraryError and OutputError; the library is then as it was.
/// Parts of inputs are joined first, judged by `profile` where it is chosen, else as they were.
Collection collect(const std::filesystem::path &folder, const std::string &plan, bool withFrames,
                   const Profile &profile, bool profileIsChosen, const Notice &notice);

} // namespace lumagauge::qc

#endif
