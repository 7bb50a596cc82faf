// SPDX-License-Identifier: BSD-2-Clause
//
// C++ exceptions as Python's.
#ifndef LUMAGAUGE_PYTHON_ERRORS_H
#define LUMAGAUGE_PYTHON_ERRORS_H

#include <lumagauge/lumagauge.hpp>

#include <pybind11/pybind11.h>

#include <stdexcept>
#include <string>

namespace lumagauge::python {

/// What a Python caller gave is refused: the message says what was given, what is expected and what
/// to do.
class Refusal : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Text for Python; bytes that are not UTF-8, which file names may hold, as U+FFFD.
inline pybind11::str textOf(const std::string &text) {
  return pybind11::reinterpret_steal<pybind11::str>(
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
}

/// Raises a class of lumagauge._errors.
inline void raise(const char *name, const std::string &message) {
  const pybind11::object type = pybind11::module_::import("lumagauge._errors").attr(name);
  PyErr_SetObject(type.ptr(), textOf(message).ptr());
}

/// Called once by each module: a translator is the module's own.
inline void translateErrors() {
  pybind11::register_local_exception_translator([](std::exception_ptr thrown) {
    try {
      std::rethrow_exception(thrown);
    } catch (const Error &error) {
      raise("Error", error.what());
    } catch (const Refusal &refusal) {
      raise("Error", refusal.what());
    } catch (const std::bad_alloc &) {
      PyErr_SetString(PyExc_MemoryError, lumagauge_error_text(LUMAGAUGE_ERROR_MEMORY));
    }
  });
}

} // namespace lumagauge::python

#endif
