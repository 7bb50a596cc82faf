// SPDX-License-Identifier: BSD-2-Clause
//
// From the parts of a video, measured apart, to the result of one run over the whole.
#ifndef LUMAGAUGE_QC_REPORT_JOIN_H
#define LUMAGAUGE_QC_REPORT_JOIN_H

#include "qc/report/batch.h"
#include "qc/report/part_file.h"

#include <map>

namespace lumagauge::qc {

/// The parts of each video, by the NAME of its whole result.
using PartGroups = std::map<std::string, std::vector<PartFile>>;

/// Those of the JSON files, and of those in the folders that are of parts. Throws InputError where
/// one cannot be read or none is there.
PartGroups findParts(const std::vector<std::string> &paths);

struct Joining {
  std::filesystem::path folder; ///< for NAME.csv and NAME.json
  Profile profile;
  bool profileIsChosen = false; ///< it may be another than that of the parts
  bool withFrames = true, quiet = false;
};

/// Writes the result of a whole video and prints its report to `stream`. The parts may be in any
/// order. Throws InputError where they do not make a whole, and OutputError.
BatchRow joinParts(std::vector<PartFile> parts, const Joining &joining, std::ostream &stream);

/// The same for all videos. Those whose parts do not fit are unmeasured, and say why.
std::vector<BatchRow> joinAll(PartGroups groups, const Joining &joining, std::ostream &stream);

} // namespace lumagauge::qc

#endif
