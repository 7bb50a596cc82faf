// SPDX-License-Identifier: BSD-2-Clause
//
// The options for many inputs on many machines: plans, their parts, collecting.
#ifndef LUMAGAUGE_QC_SCALE_OPTIONS_H
#define LUMAGAUGE_QC_SCALE_OPTIONS_H

#include "qc/options.h"

namespace CLI {
class App;
}

namespace lumagauge::qc {

/// `options` must outlive the parsing; the option --output must be there.
void addScaleOptions(CLI::App &app, Options &options);
/// Whether what is to be done, and with which inputs, goes together: these, those of a plan, or
/// results alone. Throws CLI::ValidationError.
void understandScale(const Options &options);

} // namespace lumagauge::qc

#endif
