// SPDX-License-Identifier: BSD-2-Clause
//
// The options of live runs on the command line.
#ifndef LUMAGAUGE_QC_LIVE_LIVE_CLI_H
#define LUMAGAUGE_QC_LIVE_LIVE_CLI_H

#include "qc/options.h"

#include <CLI/CLI.hpp>

namespace lumagauge::qc {

/// After the other options, of which some are no use with these. `options` must outlive `app`.
void addLiveOptions(CLI::App &app, Options &options);
/// After parsing. Throws CLI::ValidationError.
void checkLiveOptions(const Options &options);

} // namespace lumagauge::qc

#endif
