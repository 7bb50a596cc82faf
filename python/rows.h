// SPDX-License-Identifier: BSD-2-Clause
//
// Values on their way to Python: single records as tuples, many as structured arrays.
#ifndef LUMAGAUGE_PYTHON_ROWS_H
#define LUMAGAUGE_PYTHON_ROWS_H

#include <lumagauge/lumagauge.hpp>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lumagauge::python {

/// An element of a structured array: NaN where there is no value, which `valid` tells from a NaN
/// that was measured.
struct Row {
  std::array<double, INDICATOR_COUNT> values;
  std::uint32_t valid = 0; ///< bits of the indicators that have a value
  char32_t pictureType = 0;
};

/// The same with the frame that it is of.
struct FrameRow {
  std::int64_t frame;
  double time; ///< seconds
  Row row;
};

inline Row rowOf(const Values &values) {
  Row row{};
  for (const IndicatorInfo &info : INDICATORS) {
    const std::optional<double> &value = values[info.indicator];
    row.values[static_cast<std::size_t>(info.indicator)] =
        value.value_or(std::numeric_limits<double>::quiet_NaN());
    if (value)
      row.valid |= bit(info.indicator);
  }
  return row;
}

/// A tuple of the values in the order of the list, None where there is none.
inline pybind11::tuple tupleOf(const Values &values) {
  pybind11::tuple tuple(INDICATOR_COUNT);
  for (std::size_t i = 0; i < INDICATOR_COUNT; ++i) {
    const std::optional<double> &value = values[static_cast<Indicator>(i)];
    tuple[i] = value ? pybind11::object(pybind11::float_(*value)) : pybind11::none();
  }
  return tuple;
}

/// Describes a row, that begins at `offset` of an element, to numpy.
class RowType {
public:
  void add(const std::string &name, const char *format, std::size_t offset) {
    names.append(name);
    formats.append(format);
    offsets.append(offset);
  }
  void addValues(std::size_t offset) {
    for (std::size_t i = 0; i < INDICATOR_COUNT; ++i)
      add(std::string(INDICATORS[i].name), "f8",
          offset + offsetof(Row, values) + i * sizeof(double));
    add("valid", "u4", offset + offsetof(Row, valid));
  }
  pybind11::dtype dtype(std::size_t elementBytes) const {
    return {names, formats, offsets, static_cast<pybind11::ssize_t>(elementBytes)};
  }

private:
  pybind11::list names, formats, offsets;
};

/// An array that takes over the rows.
template <class Element>
pybind11::array arrayOf(std::vector<Element> rows, const pybind11::dtype &type) {
  auto owned = std::make_unique<std::vector<Element>>(std::move(rows));
  const std::vector<Element> &kept = *owned;
  const pybind11::capsule owner(
      owned.get(), [](void *unused) { delete static_cast<std::vector<Element> *>(unused); });
  owned.release();
  return pybind11::array(type, {static_cast<pybind11::ssize_t>(kept.size())},
                         {static_cast<pybind11::ssize_t>(sizeof(Element))}, kept.data(), owner);
}

} // namespace lumagauge::python

#endif
