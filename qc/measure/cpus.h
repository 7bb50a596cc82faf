// SPDX-License-Identifier: BSD-2-Clause
//
// How many CPUs a process gets.
#ifndef LUMAGAUGE_QC_MEASURE_CPUS_H
#define LUMAGAUGE_QC_MEASURE_CPUS_H

#include <filesystem>
#include <optional>

namespace lumagauge::qc {

/// CPUs that this process may use: those of its affinity, or fewer where its control group has a
/// quota; at least 1.
int usableCpus();

/// The CPU time a second that the control groups of this process, of version 1 or 2, leave it: the
/// least quota of its group and those above, in CPUs (0.5 is half of one); empty where there is
/// none. `root` is in front of every path that is read.
std::optional<double> quotaCpus(const std::filesystem::path &root = "/");

} // namespace lumagauge::qc

#endif
