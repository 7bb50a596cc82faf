// SPDX-License-Identifier: BSD-2-Clause
#ifndef LUMAGAUGE_INDICATORS_ROUTINE_H
#define LUMAGAUGE_INDICATORS_ROUTINE_H

#include "indicators/indicators.h"

#include <new>

namespace lumagauge {

/// The body of a thread routine: store(luma) measures the picture and keeps the value. No exception
/// leaves a thread: lack of memory is flagged for the driver.
template <class Store> void *runRoutine(void *luma, Store store) {
  try {
    store(static_cast<const Image *>(luma));
  } catch (const std::bad_alloc &) {
    indicatorLackedMemory = true;
  }
  return nullptr;
}

} // namespace lumagauge

#endif
