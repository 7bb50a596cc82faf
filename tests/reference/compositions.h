// SPDX-License-Identifier: BSD-2-Clause
//
// The indicators that stream, composed from the toolkit's whole-picture operations instead: each
// step of the definition fills a map. Slow, and the measure of what the streamed ones must give.
#ifndef LUMAGAUGE_TESTS_REFERENCE_COMPOSITIONS_H
#define LUMAGAUGE_TESTS_REFERENCE_COMPOSITIONS_H

#include "indicators/indicators.h"

#include <optional>

namespace lumagauge::test {

double composedBlockLoss(const Image *luma);
double composedBlur(const Image *luma);
std::optional<double> composedNoise(const Image *luma);
std::optional<double> composedSlice(const Image *luma);
bool composedBlackout(const Image *luma);
double composedExposure(const Image *luma);

} // namespace lumagauge::test

#endif
