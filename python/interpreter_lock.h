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
  friend class Locked;
  PyThreadState *state;
};

/// The lock that this thread gave away is held meanwhile. PyGILState_Ensure would not do: what it
/// looks the thread up in is gone when the interpreter has ended.
class Locked {
public:
  explicit Locked(const Unlocked &unlocked) {
    orWaitForTheEnd([&] { PyEval_RestoreThread(unlocked.state); });
  }
  ~Locked() { PyEval_SaveThread(); }
  Locked(const Locked &) = delete;
  Locked &operator=(const Locked &) = delete;
};

} // namespace lumagauge::python

#endif
