// SPDX-License-Identifier: BSD-2-Clause
//
// Contrast: RMS contrast, the sample standard deviation of all luma samples in luma levels, 0 to
// about 128 (Peli, "Contrast in complex images", 1990). NaN for one sample, and for some uniform
// pictures, where rounding leaves the variance slightly below zero.
#include "indicators/routines.h"
#include "tools/arithmetic.h"
#include "tools/rows.h"

#include <cmath>

namespace lumagauge {

std::optional<double> measureContrast(const Plane &luma) {
  // Sums in 64 bits rather than by sumAndSquareSum, whose 32-bit sum overflows beyond 8.4 million
  // samples.
  return contrastOf(rows().moments(luma.data, luma.w * luma.h), luma.w * luma.h);
}

double contrastOf(const Moments &moments, std::uint64_t samples) {
  const auto n = static_cast<double>(samples);
  const auto sum = static_cast<double>(moments.sum);
  // The order of these operations decides the last bit, and where a flat picture gives a NaN.
  const double mean = (1.0 / n) * sum * sum;
  const double variance = (static_cast<double>(moments.squares) - mean) * quotient(1.0, n - 1.0);
  return std::sqrt(variance);
}

void *contrastRMS(void *luma) {
  storeMeasure(luma, measureContrast, &FrameResults::contrast);
  return nullptr;
}

} // namespace lumagauge
