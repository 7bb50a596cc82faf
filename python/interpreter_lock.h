// SPDX-License-Identifier: BSD-2-Clause
//
// The interpreter's lock, for calls that may be under way on a daemon thread when the interpreter
// ends.
#ifndef LUMAGAUGE_PYTHON_INTERPRETER_LOCK_H
#define LUMAGAUGE_PYTHON_INTERPRETER_LOCK_H

#include <pybind11/pybind11.h>

#include <cxxabi.h>
#include <unistd.h>

namespace lumagauge::python {

/// Returns what `call` returns, which may take the interpreter's lock. CPython before 3.14 ends a
/// thread that asks for the lock of an interpreter that has ended, by unwinding its stack. That
/// must not go on into the caller: it would meet destructors, which may not throw, and drop
/// references without the lock. Instead the thread waits here until the process ends, as newer
/// CPython does.
template <class Call> auto orWaitForTheEnd(Call call) {
  try {
    return call();
  } catch (abi::__forced_unwind &) {
    while (true)
      pause();
  }
}

/// The interpreter's lock is given away meanwhile. To be used by a thread that holds it.
class Unlocked {
public:
  Unlocked() : state(PyEval_SaveThread()) {}
  ~Unlocked() {
    orWaitForTheEnd([this] { PyEval_RestoreThread(state); });
  }
  Unlocked(const Unlocked &) = delete;
  Unlocked &operator=(const Unlocked &) = delete;

private:
  PyThreadState *state;
};

/// The interpreter's lock is held meanwhile. To be used by a thread of Python's that gave it away.
class Locked {
public:
  Locked() : state(orWaitForTheEnd(PyGILState_Ensure)) {}
  ~Locked() { PyGILState_Release(state); }
  Locked(const Locked &) = delete;
  Locked &operator=(const Locked &) = delete;

private:
  PyGILState_STATE state;
};

} // namespace lumagauge::python

#endif
