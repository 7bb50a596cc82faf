// SPDX-License-Identifier: BSD-2-Clause
//
// What a sequence keeps coming back to: a coder whose I pictures show its grid and whose predicted
// ones hide it is as bad as the I pictures, which the eye meets twice a second.
#ifndef LUMAGAUGE_QC_JUDGE_ENVELOPE_H
#define LUMAGAUGE_QC_JUDGE_ENVELOPE_H

#include <vector>

namespace lumagauge::qc {

/// Morphological opening in time: peaks narrower than twice `reach` seconds are cut down to what
/// lies beside them, and troughs stay where they are, however narrow. `times` rise and are as many
/// as `values`, which must be numbers.
std::vector<double> opening(const std::vector<double> &values, const std::vector<double> &times,
                            double reach);

} // namespace lumagauge::qc

#endif
