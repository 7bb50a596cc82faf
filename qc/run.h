// SPDX-License-Identifier: BSD-2-Clause
//
// A run: one input after another is measured, judged, printed and written.
#ifndef LUMAGAUGE_QC_RUN_H
#define LUMAGAUGE_QC_RUN_H

#include "qc/options.h"
#include "qc/report/batch.h"
#include "qc/report/json.h"

namespace lumagauge::qc {

/// Everything of a run that is the same for all its inputs.
struct Run {
  Options options;
  Profile profile;
  Settings settings;
};

/// With the profile that the options name. Throws InputError where it cannot be had.
Run makeRun(Options options);

/// The same of a part of each input.
Run partRun(const Run &run, const FrameRange &range);

/// Measures one input into NAME.csv, NAME.json and, where asked for, NAME.html of the output
/// folder, if there is one, or takes over its earlier result. Of a part `name` is that of the
/// whole, and the files' has the range. What is wrong with the input or with its files stays with
/// it: others may fare better.
BatchRow answer(const Run &run, const std::string &input, const std::string &name);

} // namespace lumagauge::qc

#endif
