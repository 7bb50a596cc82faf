// SPDX-License-Identifier: BSD-2-Clause
//
// Temporal activity: how much the picture changed since the one before. Root mean square of the
// sample differences, 0 (the same picture) to 255.
#include "indicators/routines.h"

#include <cmath>

namespace lumagauge {

std::optional<double> measureTemporalActivity(const Plane &current, const Plane &previous) {
  return temporalAct(current, previous) / std::sqrt(static_cast<double>(current.w * current.h));
}

double temporalActivity(const Image *current, const Image *previous) {
  return *measureTemporalActivity(*current, *previous);
}

} // namespace lumagauge
