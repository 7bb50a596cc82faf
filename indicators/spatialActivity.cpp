// SPDX-License-Identifier: BSD-2-Clause
//
// Spatial activity: how much detail the picture holds. Root mean square of the Sobel gradient's
// magnitude over the picture area, 0 to about 1443; 0 for a flat picture and for one below 3x3.
#include "indicators/routines.h"

#include <cmath>

namespace lumagauge {

std::optional<double> measureSpatialActivity(const Plane &luma) {
  return spatialAct(luma) / std::sqrt(static_cast<double>(luma.w * luma.h));
}

void *spatialActivity(void *luma) {
  storeMeasure(luma, measureSpatialActivity, &FrameResults::spatialActivity);
  return nullptr;
}

} // namespace lumagauge
