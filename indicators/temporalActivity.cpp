// SPDX-License-Identifier: BSD-2-Clause
//
// Temporal activity: how much the picture changed since the one before. Root mean square of the
// sample differences, 0 (the same picture) to 255.
#include "indicators/indicators.h"

#include <cmath>

namespace lumagauge {

double temporalActivity(const Image *current, const Image *previous) {
  return temporalAct(current, previous) / std::sqrt(static_cast<double>(current->w * current->h));
}

} // namespace lumagauge
