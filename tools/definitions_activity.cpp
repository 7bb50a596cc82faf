// SPDX-License-Identifier: BSD-2-Clause
#include "tools/plane.h"
#include "tools/rows.h"

#include <algorithm>
#include <cmath>

namespace lumagauge {

double spatialAct(const Plane &src) {
  if (src.h < 3 || src.w < 3)
    return 0.0;
  // Bands of inner rows, with the rows around them, that stay in a near cache.
  constexpr std::uint64_t BAND = 32;
  std::uint64_t energy = 0;
  for (std::uint64_t y = 0; y + 2 < src.h; y += BAND)
    energy += rows().sobelEnergy(src.data + y * src.w, src.w, std::min(BAND + 2, src.h - y), src.w);
  return std::sqrt(static_cast<double>(energy));
}

double temporalAct(const Plane &current, const Plane &previous) {
  return std::sqrt(static_cast<double>(
      rows().squaredDifference(current.data, previous.data, current.w * current.h)));
}

double spatialAct(const Image *src) {
  return spatialAct(*src);
}

double temporalAct(const Image *current, const Image *previous) {
  return temporalAct(*current, *previous);
}

} // namespace lumagauge
