// SPDX-License-Identifier: BSD-2-Clause
//
// How a signal asks the command to end.
#ifndef LUMAGAUGE_QC_INTERRUPTION_H
#define LUMAGAUGE_QC_INTERRUPTION_H

namespace lumagauge::qc {

/// From now on the first SIGINT or SIGTERM cancels reading and shows in interruption(), so that the
/// run can end with what it has; one that comes later insists and ends the process at once. A write
/// to a reader that went away fails instead of ending the process.
void catchSignals();

/// The signal that asked for the end; 0 while none has.
int interruption() noexcept;

} // namespace lumagauge::qc

#endif
