// SPDX-License-Identifier: BSD-2-Clause
#include "indicators/indicators.h"

namespace lumagauge {

FrameResults Results{};
std::atomic<bool> indicatorLackedMemory{false};

} // namespace lumagauge
