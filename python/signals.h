// SPDX-License-Identifier: BSD-2-Clause
//
// Ctrl-C during long calls that run without the interpreter's lock.
#ifndef LUMAGAUGE_PYTHON_SIGNALS_H
#define LUMAGAUGE_PYTHON_SIGNALS_H

#include "python/interpreter_lock.h"

#include <atomic>
#include <chrono>

namespace lumagauge::python {

/// How long a call may go without looking for signals. Taking the lock costs milliseconds where
/// another Python thread is busy, so it is not done for every frame.
constexpr std::chrono::milliseconds SIGNAL_INTERVAL{50};

/// Called every now and then by a thread that does not hold the lock: runs Python's signal
/// handlers when it is time to, and throws what they raise. Several threads may share one.
class SignalCheck {
public:
  void operator()(const Unlocked &unlocked) {
    const auto now = std::chrono::steady_clock::now();
    if (now < due.load(std::memory_order_relaxed))
      return;
    due.store(now + SIGNAL_INTERVAL, std::memory_order_relaxed);
    const Locked locked(unlocked);
    if (PyErr_CheckSignals() != 0)
      throw pybind11::error_already_set();
  }

private:
  std::atomic<std::chrono::steady_clock::time_point> due{std::chrono::steady_clock::now() +
                                                         SIGNAL_INTERVAL};
};

} // namespace lumagauge::python

#endif
