// SPDX-License-Identifier: BSD-2-Clause
//
// In which order what lies along a film is done, so that whenever time is over all of it is
// covered.
#ifndef LUMAGAUGE_QC_PICTURES_COARSE_TO_FINE_H
#define LUMAGAUGE_QC_PICTURES_COARSE_TO_FINE_H

#include <cstddef>
#include <vector>

namespace lumagauge::qc {

/// The numbers below `count`, the first one first, then each in a middle of what there is: after
/// any number of them no gap is more than some twice as wide as need be (van der Corput's
/// sequence).
inline std::vector<std::size_t> coarseToFine(std::size_t count) {
  std::size_t size = 1;
  while (size < count)
    size *= 2;
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < size; ++i) {
    std::size_t mirrored = 0;
    for (std::size_t bit = 1; bit < size; bit *= 2)
      mirrored = 2 * mirrored + ((i & bit) != 0 ? 1 : 0);
    if (mirrored < count)
      order.push_back(mirrored);
  }
  return order;
}

} // namespace lumagauge::qc

#endif
