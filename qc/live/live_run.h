// SPDX-License-Identifier: BSD-2-Clause
//
// A run over a stream that never ends: connections come and go, events are told as they come.
#ifndef LUMAGAUGE_QC_LIVE_LIVE_RUN_H
#define LUMAGAUGE_QC_LIVE_LIVE_RUN_H

#include "qc/run.h"

namespace lumagauge::qc {

/// Measures the one input of the run until it ends or an interruption asks for the end. Returns the
/// exit status but for interruptions. Throws OutputError where the event lines cannot be written.
int runLive(const Run &run);

} // namespace lumagauge::qc

#endif
