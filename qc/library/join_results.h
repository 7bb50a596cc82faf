// SPDX-License-Identifier: BSD-2-Clause
//
// The parts of long inputs among the results of a plan.
#ifndef LUMAGAUGE_QC_LIBRARY_JOIN_RESULTS_H
#define LUMAGAUGE_QC_LIBRARY_JOIN_RESULTS_H

#include "qc/judge/profile.h"

#include <filesystem>
#include <set>

namespace lumagauge::qc {

struct JoinedResults {
  std::set<std::string> parts; ///< the names that are of parts
  std::size_t joined = 0;      ///< whole results that were made, and not there already
};

/// Makes the results of whole inputs of those of their parts, all in one folder: NAME.A-B.json and
/// the like become NAME.json, unless that is there with its CSV, newer than all of them. `names`
/// are those of the folder's results and failures, `planned` those of a plan's parts of inputs.
/// Where parts do not make a whole NAME.failure says why. Throws OutputError.
JoinedResults joinResults(const std::filesystem::path &folder, const std::set<std::string> &names,
                          const std::set<std::string> &planned, const Profile &profile,
                          bool profileIsChosen);

} // namespace lumagauge::qc

#endif
