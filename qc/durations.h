// SPDX-License-Identifier: BSD-2-Clause
//
// How all options spell durations.
#ifndef LUMAGAUGE_QC_DURATIONS_H
#define LUMAGAUGE_QC_DURATIONS_H

#include "qc/source/open_source.h"

#include <optional>
#include <string_view>

namespace lumagauge::qc {

/// For messages, behind "expected a duration, as ".
constexpr std::string_view DURATION_FORMS = "90, 90s, 1.5m, 2h, 1d, 1:30 or 0:01:30";

/// Seconds from text in one of these forms; empty where it is in none.
std::optional<double> parseDuration(std::string_view text);
/// A duration, or a number of frames as "250f"; empty where the text is neither.
std::optional<Extent> parseExtent(std::string_view text);

} // namespace lumagauge::qc

#endif
