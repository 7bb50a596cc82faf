// SPDX-License-Identifier: BSD-2-Clause
//
// What the command can be asked to do, and which options each of these has no use for.
#ifndef LUMAGAUGE_QC_MODES_H
#define LUMAGAUGE_QC_MODES_H

#include <CLI/CLI.hpp>

namespace lumagauge::qc {

/// Ends the parsing of the command line with a message.
[[noreturn]] void refuse(const std::string &message);

/// Refuses options that would be passed over in silence.
void checkModes(const CLI::App &app);

} // namespace lumagauge::qc

#endif
