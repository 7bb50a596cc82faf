// SPDX-License-Identifier: BSD-2-Clause
#include "tools/definitions.h"

#include "tools/rows.h"

#include <cmath>

namespace lumagauge {

double spatialAct(const Image *src) {
  if (src->h < 3 || src->w < 3)
    return 0.0;
  const std::uint64_t w = src->w;
  std::uint64_t energy = 0;
  for (std::uint64_t y = 1; y + 1 < src->h; ++y) {
    const std::uint8_t *row = src->data + y * w;
    energy += rows().sobelEnergy(row - w, row, row + w, w);
  }
  return std::sqrt(static_cast<double>(energy));
}

double temporalAct(const Image *current, const Image *previous) {
  return std::sqrt(static_cast<double>(
      rows().squaredDifference(current->data, previous->data, current->w * current->h)));
}

} // namespace lumagauge
