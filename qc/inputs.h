// SPDX-License-Identifier: BSD-2-Clause
//
// From what the command line names to the inputs of a batch.
#ifndef LUMAGAUGE_QC_INPUTS_H
#define LUMAGAUGE_QC_INPUTS_H

#include "qc/options.h"

namespace lumagauge::qc {

/// The inputs as given, the lines of the lists, and with --recursive the videos in folders, known
/// by their extensions, in the order of their names. Each once. What cannot be read stays in the
/// list, so that measuring it says why; a list that cannot be read, or that names nothing unless
/// that is allowed, throws InputError.
std::vector<std::string> listInputs(const Options &options);

} // namespace lumagauge::qc

#endif
